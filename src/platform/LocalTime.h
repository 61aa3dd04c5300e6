#pragma once

#include <chrono>
#include <compare>
#include <optional>
#include <vector>

/// The rules by which the clocks around the person are set.
class TimeZone {
public:
    virtual ~TimeZone() = default;

    /// How far local clocks are ahead of UTC at that moment.
    virtual std::chrono::seconds offsetAt(std::chrono::sys_seconds moment) const = 0;
    /// Takes over another zone that the person has chosen meanwhile. Cheap.
    virtual void refresh() = 0;
};

/// A minute as a calendar and a clock on the wall show it (proleptic Gregorian calendar).
struct LocalMinute {
    int year = 0;
    int month = 0;  ///< 1 to 12
    int day = 0;    ///< 1 to 31
    int hour = 0;   ///< 0 to 23
    int minute = 0; ///< 0 to 59

    auto operator<=>(const LocalMinute&) const = default;
};

/// Between moments and what local clocks show. The standard library's own time zones are not in the oldest
/// supported compiler, and its calendar ends with the year 32767.
namespace LocalTime {

/// The minute that contains `moment`, which is at most 292 million years away from 1970.
LocalMinute minuteOf(std::chrono::sys_seconds moment, const TimeZone& zone);

/// The moments at which that minute begins, earliest first, never none. There are two where clocks are set
/// back over it. A minute that they are set forward over begins as much later as they are set forward: 02:30
/// as 03:30.
std::vector<std::chrono::sys_seconds> momentsOf(const LocalMinute& minute, const TimeZone& zone);

/// When the day after the one that contains `now` begins.
std::chrono::sys_seconds startOfTomorrow(std::chrono::sys_seconds now, const TimeZone& zone);

} // namespace LocalTime
