#pragma once

#include <chrono>
#include <functional>

namespace Demo {

/// The wall clock: sessions and challenges outlive the process or are shown to people, so they are dated with
/// it.
using Clock = std::chrono::system_clock;

/// Where the service takes the time from. Handed in, so that ten minutes or thirty days can pass at once.
using Now = std::function<Clock::time_point()>;

/// Whole milliseconds since 1970-01-01 00:00 UTC, the form in which times are stored and sent.
inline std::int64_t toMilliseconds(Clock::time_point time) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

inline Clock::time_point fromMilliseconds(std::int64_t milliseconds) {
    return Clock::time_point(std::chrono::milliseconds(milliseconds));
}

} // namespace Demo
