#pragma once

#include "demo/Clock.h"

#include <nlohmann/json_fwd.hpp>

#include <map>
#include <optional>
#include <string>

namespace Demo {

/// Who is signed in. Only a SHA-256 of each session's token is kept, so the state file opens no session.
class Sessions {
public:
    static constexpr std::chrono::hours lifetime = std::chrono::days(30);

    /// Starts a session for the account and returns its new token.
    std::string open(const std::string& username, Clock::time_point now);

    /// Whose session this is; none when it is unknown, closed or older than the lifetime.
    std::optional<std::string> username(const std::string& token, Clock::time_point now) const;

    void close(const std::string& token);

    /// An object from token hash to session. `fromJson` throws std::exception for anything else.
    nlohmann::json toJson() const;
    static Sessions fromJson(const nlohmann::json& json);

private:
    struct Session {
        std::string username;
        Clock::time_point expires;
    };

    std::map<std::string, Session> sessions_;
};

} // namespace Demo
