#include "account/Base64.h"

#include <nettle/base64.h>

#include <cstdint>

std::optional<std::string> decodeBase64(std::string_view text) {
    // nettle skips white space, which the strict form does not have.
    if (text.find_first_of(" \t\r\n\v\f") != std::string_view::npos)
        return std::nullopt;
    base64_decode_ctx context;
    base64_decode_init(&context);
    std::string bytes(BASE64_DECODE_LENGTH(text.size()), '\0');
    std::size_t length = bytes.size();
    if (!base64_decode_update(&context, &length, reinterpret_cast<std::uint8_t*>(bytes.data()), text.size(),
                              text.data()) ||
        !base64_decode_final(&context))
        return std::nullopt;
    bytes.resize(length);
    return bytes;
}
