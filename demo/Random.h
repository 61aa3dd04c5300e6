#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// Unpredictable values from the kernel (getrandom(2)). Throws std::system_error when the kernel has none to
/// give.
namespace Demo::Random {

std::string bytes(std::size_t count);

/// A whole number from 0 to `limit` - 1, every one equally likely. `limit` is at least 1.
std::uint32_t below(std::uint32_t limit);

/// 192 random bits in base64url (RFC 4648, section 5), so that the text needs no escaping in URLs, cookies or
/// HTML.
std::string token();

} // namespace Demo::Random
