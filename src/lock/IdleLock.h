#pragma once

#include "lock/Passcode.h"
#include "platform/Clock.h"

#include <chrono>
#include <optional>

/// Decides whether the window locks. Pure: the same inputs always give the same answer.
///
/// The delay is measured on the wall clock, so minutes asleep count, and a clock set forward can only lock
/// early. One set back postpones the lock, by one delay at most where each look goes on from
/// `believableUse`.
namespace IdleLock {

/// How often to look.
inline constexpr std::chrono::seconds interval{15};

struct State {
    bool switchedOn = false; ///< the person's preference
    bool pageShown = false;  ///< a native screen has nothing to hide
    bool alreadyLocked = false;
    std::optional<Passcode::Shape> shape; ///< without a passcode there is nothing to unlock with
    std::chrono::minutes delay{};         ///< 1 to 240
};

/// Whether the window may be locked by itself at all, whatever the time.
bool isArmed(const State& state);
/// True once the time since `lastUse` has reached the delay.
bool isDue(const State& state, Clock::time_point lastUse, Clock::time_point now);
/// The time of the last use as seen from `now`: one in the future, which a clock that has been set back
/// leaves behind, counts as just now.
Clock::time_point believableUse(Clock::time_point lastUse, Clock::time_point now);

} // namespace IdleLock
