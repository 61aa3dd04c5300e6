#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>

namespace Demo {

/// A password as it is kept: PBKDF2 with HMAC-SHA-256 (RFC 8018) over 16 random bytes of salt.
///
/// The number of rounds is stored with each hash. It is lower than a product would choose, because the
/// service hashes the seeded account's password on every start without a state file and answers on one
/// thread.
class PasswordHash {
public:
    static PasswordHash of(std::string_view password);

    bool matches(std::string_view password) const;

    /// {"rounds", "salt", "key"}; salt and key in base64. `fromJson` throws std::exception for anything else.
    nlohmann::json toJson() const;
    static PasswordHash fromJson(const nlohmann::json& json);

private:
    PasswordHash(unsigned rounds, std::string salt, std::string key);

    unsigned rounds_;
    std::string salt_;
    std::string key_;
};

} // namespace Demo
