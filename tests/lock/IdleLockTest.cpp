#include "lock/IdleLock.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

constexpr Clock::time_point start{1'800'000'000s};

IdleLock::State armed(std::chrono::minutes delay = 5min) {
    return {true, true, false, Passcode::Shape{"ann", 4}, delay};
}

} // namespace

TEST(IdleLock, comesExactlyWhenTheDelayHasPassedHoweverTheTimeWasSpent) {
    const std::tuple<std::chrono::seconds, std::chrono::minutes, bool> cases[] = {
        {299s, 5min, false}, {300s, 5min, true},       {300s, 6min, false},     {59s, 1min, false},
        {60s, 1min, true},   {14'399s, 240min, false}, {14'400s, 240min, true}, {-24h, 1min, false}};
    for (const auto& [idle, delay, due] : cases)
        EXPECT_EQ(IdleLock::isDue(armed(delay), start, start + idle), due) << idle.count();
}

TEST(IdleLock, needsTheSwitchAPageAndAPasscodeAndComesOnlyOnce) {
    auto off = armed(), native = armed(), locked = armed(), open = armed();
    off.switchedOn = false;
    native.pageShown = false;
    locked.alreadyLocked = true;
    open.shape.reset();
    for (const auto& state : {off, native, locked, open})
        EXPECT_FALSE(IdleLock::isDue(state, start, start + 1h));
}

TEST(IdleLock, isPostponedByOneDelayWhenTheClockIsSetBack) {
    const auto dayBack = start - 24h;
    auto lastUse = IdleLock::believableUse(start, dayBack);
    lastUse = IdleLock::believableUse(lastUse, dayBack + 299s);
    EXPECT_FALSE(IdleLock::isDue(armed(), lastUse, dayBack + 299s));
    EXPECT_TRUE(IdleLock::isDue(armed(), lastUse, dayBack + 300s));
}
