#pragma once

#include "platform/SecretText.h"

#include <cstdint>
#include <optional>
#include <string>

/// What the keyring keeps of a passcode: a JSON object with the members "digits" (a number), "username",
/// "salt" and "sealed" (texts; the latter two in standard base64).
///
/// Whoever has it can try every passcode at the speed of the key derivation, so its text and its box are
/// wiped from memory like the password itself.
struct PasscodeRecord {
    std::int64_t digits = 0; ///< length of the passcode in characters
    std::string username;
    SecretText salt;   ///< bytes
    SecretText sealed; ///< the combined box of PasscodeSeal, bytes

    /// None unless all four members are there with their types, and both base64 texts are valid. The order of
    /// the members does not matter, and further ones are ignored.
    static std::optional<PasscodeRecord> parse(const SecretText& text);
    /// Compact. Throws Error when the username is not UTF-8.
    SecretText text() const;
};
