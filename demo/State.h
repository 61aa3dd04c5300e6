#pragma once

#include "demo/Accounts.h"
#include "demo/Sessions.h"

#include <nlohmann/json_fwd.hpp>

namespace Demo {

/// Everything the service remembers from one start to the next.
struct State {
    Accounts accounts;
    Sessions sessions;

    /// The state of a first start: one account, "ada", with the tasks of a believable week around `now`.
    static State seed(Clock::time_point now);

    /// {"version": 1, "accounts", "sessions"}. `fromJson` throws std::exception for anything else.
    nlohmann::json toJson() const;
    static State fromJson(const nlohmann::json& json);
};

} // namespace Demo
