#include "platform/Base64.h"

#include <nettle/base64.h>

#include <cstdint>

std::string encodeBase64(std::string_view bytes) {
    std::string text(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
    base64_encode_raw(text.data(), bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
    return text;
}

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
