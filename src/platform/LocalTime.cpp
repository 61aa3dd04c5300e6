#include "platform/LocalTime.h"

#include <ctime>

namespace {

using std::chrono::sys_seconds;
using namespace std::chrono_literals;

constexpr int firstYear = 1900; // of std::tm

std::tm fieldsOf(sys_seconds moment) {
    const std::time_t seconds = moment.time_since_epoch().count();
    std::tm fields = {};
    gmtime_r(&seconds, &fields);
    return fields;
}

/// The moment at which clocks in UTC show that minute.
sys_seconds readAsUtc(const LocalMinute& minute) {
    std::tm fields = {};
    fields.tm_year = minute.year - firstYear;
    fields.tm_mon = minute.month - 1;
    fields.tm_mday = minute.day;
    fields.tm_hour = minute.hour;
    fields.tm_min = minute.minute;
    return sys_seconds(std::chrono::seconds(timegm(&fields)));
}

} // namespace

LocalMinute LocalTime::minuteOf(sys_seconds moment, const TimeZone& zone) {
    const auto fields = fieldsOf(moment + zone.offsetAt(moment));
    return {fields.tm_year + firstYear, fields.tm_mon + 1, fields.tm_mday, fields.tm_hour, fields.tm_min};
}

std::vector<sys_seconds> LocalTime::momentsOf(const LocalMinute& minute, const TimeZone& zone) {
    // No zone changes its offset twice within two days, so the offsets around the minute are all that it can
    // have, and a change between them has come by the end of the first one.
    const auto shown = readAsUtc(minute);
    const auto before = zone.offsetAt(shown - 24h);
    const auto after = zone.offsetAt(shown + 24h);
    std::vector<sys_seconds> found;
    if (zone.offsetAt(shown - before) == before)
        found.push_back(shown - before);
    if (after != before && zone.offsetAt(shown - after) == after)
        found.push_back(shown - after);
    if (found.empty())
        found.push_back(shown - before);
    return found;
}

sys_seconds LocalTime::startOfTomorrow(sys_seconds now, const TimeZone& zone) {
    auto day = minuteOf(now, zone);
    day.day += 1; // the day after the last of a month is read as the first of the next
    day.hour = 0;
    day.minute = 0;
    return momentsOf(day, zone).front();
}
