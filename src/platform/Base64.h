#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The text of `bytes` in standard base64 (RFC 4648, section 4): padded, on one line.
std::string encodeBase64(std::string_view bytes);

/// Standard base64 (RFC 4648, section 4) without leniency: padding is required, and a character outside the
/// alphabet, a line break included, makes the text invalid.
std::optional<std::string> decodeBase64(std::string_view text);
