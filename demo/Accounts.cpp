#include "demo/Accounts.h"

#include "demo/Http.h"

#include <glib.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace Demo {

namespace {

using nlohmann::json;

constexpr std::size_t shortestPassword = 8;
constexpr std::size_t longestPassword = 200;
constexpr std::size_t longestEmail = 200;
constexpr const char* googleUsername = "grace";
constexpr const char* googleEmail = "grace@brisko.example";

bool same(std::string_view a, std::string_view b) {
    return a.size() == b.size() && g_ascii_strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool isUsername(const std::string& text) {
    return text.size() >= 3 && text.size() <= 32 && std::ranges::all_of(text, [](char c) {
               return g_ascii_isalnum(c) || c == '.' || c == '-' || c == '_';
           });
}

bool isEmail(const std::string& text) {
    const std::size_t at = text.find('@');
    const bool plain =
        std::ranges::none_of(text, [](char c) { return g_ascii_isspace(c) || g_ascii_iscntrl(c); });
    return plain && at != std::string::npos && at > 0 && at + 1 < text.size() && text.size() <= longestEmail;
}

void checkForm(const std::string& username, const std::string& email, const std::string& password) {
    if (!isUsername(username))
        throw Refusal(400, "A username has 3 to 32 letters, digits, dots, hyphens or underscores.");
    if (!email.empty() && !isEmail(email))
        throw Refusal(400, "This does not look like an email address.");
    if (password.size() < shortestPassword)
        throw Refusal(400, "The password needs at least 8 characters.");
    if (password.size() > longestPassword)
        throw Refusal(400, "The password is too long.");
}

} // namespace

Account& Accounts::signUp(const std::string& username, const std::string& email,
                          const std::string& password) {
    checkForm(username, email, password);
    if (find(username))
        throw Refusal(409, "This username is taken.");
    if (!email.empty() && locate(email))
        throw Refusal(409, "This email address already has an account.");
    Account account;
    account.username = username;
    account.email = email;
    account.password = PasswordHash::of(password);
    return accounts_.emplace_back(std::move(account));
}

Account* Accounts::signIn(const std::string& identifier, const std::string& password) {
    Account* account = locate(identifier);
    if (!account || !account->password) {
        PasswordHash::of(password);
        return nullptr;
    }
    return account->password->matches(password) ? account : nullptr;
}

Account& Accounts::google() {
    // Somebody may have signed up under the name before; that account is theirs and stays apart.
    std::string username = googleUsername;
    for (int n = 2;; ++n) {
        Account* account = find(username);
        if (!account)
            break;
        if (!account->password)
            return *account;
        username = googleUsername + std::to_string(n);
    }
    Account account;
    account.username = username;
    account.email = locate(googleEmail) ? "" : googleEmail;
    return accounts_.emplace_back(std::move(account));
}

Account* Accounts::find(std::string_view username) {
    const auto found = std::ranges::find_if(
        accounts_, [&](const Account& account) { return same(account.username, username); });
    return found == accounts_.end() ? nullptr : &*found;
}

Account* Accounts::locate(std::string_view identifier) {
    if (Account* account = find(identifier))
        return account;
    const auto found = std::ranges::find_if(accounts_, [&](const Account& account) {
        return !account.email.empty() && same(account.email, identifier);
    });
    return found == accounts_.end() ? nullptr : &*found;
}

json Accounts::toJson() const {
    json result = json::array();
    for (const Account& account : accounts_)
        result.push_back({{"username", account.username},
                          {"email", account.email},
                          {"password", account.password ? account.password->toJson() : json(nullptr)},
                          {"settings", account.settings.toJson()},
                          {"tasks", account.tasks.toJson()}});
    return result;
}

Accounts Accounts::fromJson(const json& stored) {
    Accounts result;
    for (const json& entry : stored) {
        Account account;
        account.username = entry.at("username").get<std::string>();
        account.email = entry.at("email").get<std::string>();
        if (!entry.at("password").is_null())
            account.password = PasswordHash::fromJson(entry.at("password"));
        account.settings.change(entry.at("settings"));
        account.tasks = Tasks::fromJson(entry.at("tasks"));
        result.accounts_.push_back(std::move(account));
    }
    return result;
}

} // namespace Demo
