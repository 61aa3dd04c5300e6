#include "platform/LocalTime.h"

#include "fakes/FakeNotifications.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using namespace std::chrono;

namespace {

/// New York in 2026: clocks go from 02:00 to 03:00 on March 8 and from 02:00 to 01:00 on November 1.
FakeTimeZone newYork() {
    FakeTimeZone zone;
    zone.offset = -5h;
    zone.changes = {{sys_days(2026y / March / 8) + 7h, -4h}, {sys_days(2026y / November / 1) + 6h, -5h}};
    return zone;
}

} // namespace

TEST(LocalTime, findsTheMomentsOfAMinuteAlsoWhereClocksAreSet) {
    const auto zone = newYork();
    constexpr auto spring = sys_days(2026y / March / 8), autumn = sys_days(2026y / November / 1);
    const std::pair<LocalMinute, std::vector<sys_seconds>> cases[] = {
        {{2026, 3, 8, 1, 59}, {spring + 6h + 59min}},
        {{2026, 3, 8, 3, 0}, {spring + 7h}},
        {{2026, 11, 1, 0, 59}, {autumn + 4h + 59min}},
        {{2026, 11, 1, 1, 30}, {autumn + 5h + 30min, autumn + 6h + 30min}},
        {{2028, 2, 29, 23, 59}, {sys_days(2028y / March / 1) + 4h + 59min}},
        {{-32'000, 1, 1, 0, 0}, {sys_days(-32'000y / January / 1) + 5h}},
    };
    for (const auto& [minute, moments] : cases) {
        EXPECT_EQ(LocalTime::momentsOf(minute, zone), moments) << minute.hour << ":" << minute.minute;
        for (const auto& moment : moments)
            EXPECT_EQ(LocalTime::minuteOf(moment + 59s, zone), minute) << minute.hour << ":" << minute.minute;
    }
    EXPECT_EQ(LocalTime::momentsOf({2026, 3, 8, 2, 30}, zone), std::vector<sys_seconds>{spring + 7h + 30min})
        << "03:30";
}

TEST(LocalTime, knowsWhenTheNextDayBeginsAlsoOneWithoutAMidnight) {
    const sys_seconds march = sys_days(2026y / March / 8);
    auto zone = newYork();
    EXPECT_EQ(LocalTime::startOfTomorrow(sys_days(2026y / December / 31) + 20h, zone),
              sys_days(2027y / January / 1) + 5h);
    zone.changes = {{march + 5h, -4h}}; // from 24:00 to 01:00, as it was in São Paulo
    EXPECT_EQ(LocalTime::startOfTomorrow(march - 4h, zone), march + 5h);
}
