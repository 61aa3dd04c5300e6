#pragma once

#include "platform/SecretText.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The cryptography of the passcode store: a key from a passcode, and a box that only this key opens.
///
/// Any implementation of PBKDF2-HMAC-SHA256 and AES-256-GCM makes and opens the same boxes. Keys, plaintexts
/// and the states of the algorithms are wiped once they have been used.
namespace PasscodeSeal {

inline constexpr std::size_t keyBytes = 32;   ///< AES-256
inline constexpr std::size_t nonceBytes = 12; ///< NIST SP 800-38D, section 5.2.1.1
inline constexpr std::size_t tagBytes = 16;

/// Bytes of the kernel's random number generator, getrandom(2). Throws Error when it has none.
std::string randomBytes(std::size_t count);

/// PBKDF2 (RFC 8018, section 5.2) with HMAC-SHA256 over the UTF-8 bytes of the code; runs on the caller's
/// thread.
SecretText deriveKey(const SecretText& code, std::string_view salt, unsigned iterations,
                     std::size_t length = keyBytes);

/// The combined box of AES-256-GCM without additional data: the nonce, the ciphertext, the tag. A nonce is
/// used once under a key.
SecretText seal(const SecretText& key, std::string_view nonce, const SecretText& plaintext);

/// The plaintext; none when the box is too short, or was not made with this key, or has been changed since.
std::optional<SecretText> open(const SecretText& key, const SecretText& box);

} // namespace PasscodeSeal
