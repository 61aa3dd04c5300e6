#pragma once

#include "demo/PasswordHash.h"
#include "demo/Settings.h"
#include "demo/Tasks.h"

#include <nlohmann/json_fwd.hpp>

#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace Demo {

struct Account {
    std::string username; ///< 3 to 32 of a-z, A-Z, 0-9, ".", "-", "_"; unique whatever the case
    std::string email;    ///< may be empty; otherwise unique whatever the case
    std::optional<PasswordHash> password; ///< none for an account that signs in through Google only
    Settings settings;
    Tasks tasks;
};

/// Everybody who can sign in. References to accounts stay valid while the service runs: none is ever removed.
class Accounts {
public:
    /// Creates an account with nothing in it. Throws Refusal: 400 for a username, email or password that
    /// breaks its rule (a password has 8 to 200 characters), 409 for a username or email that is taken.
    Account& signUp(const std::string& username, const std::string& email, const std::string& password);

    /// The account of a username or email with this password. The answer for an unknown name takes as long as
    /// for a wrong password, so that names cannot be tried out.
    Account* signIn(const std::string& identifier, const std::string& password);

    /// The account of whoever the stand-in for the identity provider vouches for, made on first use.
    Account& google();

    Account* find(std::string_view username);

    /// An array of accounts. `fromJson` throws std::exception for anything else.
    nlohmann::json toJson() const;
    static Accounts fromJson(const nlohmann::json& json);

private:
    Account* locate(std::string_view identifier);

    std::deque<Account> accounts_;
};

} // namespace Demo
