#include "platform/LocalTime.h"

#include "fakes/FakeNotifications.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using namespace std::chrono;

TEST(LocalTime, knowsWhenTheNextDayBeginsAlsoOneWithoutAMidnight) {
    const sys_seconds march = sys_days(2026y / March / 8);
    FakeTimeZone zone;
    zone.offset = -5h;
    EXPECT_EQ(LocalTime::startOfTomorrow(sys_days(2026y / December / 31) + 20h, zone),
              sys_days(2027y / January / 1) + 5h);
    zone.changes = {{march + 5h, -4h}}; // from 24:00 to 01:00, as it was in São Paulo
    EXPECT_EQ(LocalTime::startOfTomorrow(march - 4h, zone), march + 5h);
}
