#pragma once

#include "demo/Clock.h"

#include <deque>
#include <optional>
#include <string>

namespace Demo {

/// Texts that can be claimed once: each is kept under a token until it is taken, has expired or is crowded
/// out.
///
/// A token is spent by the first look at it, so whoever guesses has one guess. The number kept is bounded,
/// because anybody may ask for one without signing in: the oldest gives way.
class OneTimeTokens {
public:
    OneTimeTokens(Now now, std::chrono::seconds lifetime, std::size_t capacity);

    /// Keeps `payload` and returns the new token (Random::token).
    std::string issue(std::string payload);

    /// Removes the token and returns what it stood for; none when it is unknown, used or expired.
    std::optional<std::string> take(const std::string& token);

private:
    struct Entry {
        std::string token;
        std::string payload;
        Clock::time_point expires;
    };

    Now now_;
    std::chrono::seconds lifetime_;
    std::size_t capacity_;
    std::deque<Entry> entries_; // in the order of issue
};

} // namespace Demo
