#include "lock/IdleLock.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

TEST(IdleLock, comesExactlyWhenTheDelayHasPassedWhereEverythingIsThereToLock) {
    constexpr Clock::time_point start(1'800'000'000s);
    const IdleLock::State armed = {true, true, false, Passcode::Shape{"ann", 4}, 5min};
    const std::tuple<std::chrono::seconds, std::chrono::minutes, bool> cases[] = {
        {299s, 5min, false}, {300s, 5min, true},       {300s, 6min, false},     {59s, 1min, false},
        {60s, 1min, true},   {14'399s, 240min, false}, {14'400s, 240min, true}, {-24h, 1min, false}};
    auto state = armed;
    for (const auto& [idle, delay, due] : cases) {
        state.delay = delay;
        EXPECT_EQ(IdleLock::isDue(state, start, start + idle), due) << idle.count();
    }
    auto off = armed, native = armed, locked = armed, open = armed;
    off.switchedOn = native.pageShown = false;
    locked.alreadyLocked = true;
    open.shape.reset();
    for (const auto& unarmed : {off, native, locked, open})
        EXPECT_FALSE(IdleLock::isDue(unarmed, start, start + 1h));
    // A clock that is set back postpones it by one delay.
    const auto dayBack = start - 24h;
    const auto lastUse = IdleLock::believableUse(IdleLock::believableUse(start, dayBack), dayBack + 299s);
    EXPECT_FALSE(IdleLock::isDue(armed, lastUse, dayBack + 299s));
    EXPECT_TRUE(IdleLock::isDue(armed, lastUse, dayBack + 300s));
}
