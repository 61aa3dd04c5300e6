#include "reminders/linux/SystemTimeZone.h"

#include <cstdlib>
#include <ctime>
#include <string>

std::chrono::seconds SystemTimeZone::offsetAt(std::chrono::sys_seconds moment) const {
    const std::time_t seconds = moment.time_since_epoch().count();
    std::tm fields = {};
    return std::chrono::seconds(localtime_r(&seconds, &fields) ? fields.tm_gmtoff : 0);
}

void SystemTimeZone::refresh() {
    tzset();
}

void SystemTimeZone::reread() {
    const auto* given = std::getenv("TZ");
    if (!given) {
        tzset();
        return;
    }
    // The C library reads a zone's file once for each name.
    const std::string name = given;
    setenv("TZ", "UTC0", 1);
    tzset();
    setenv("TZ", name.c_str(), 1);
    tzset();
}
