#include "lock/LockPreferences.h"

#include "fakes/FakePlatform.h"
#include "lock/IdleLock.h"
#include "lock/LockShortcut.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

TEST(LockPreferences, makeTheBestOfWhatIsStored) {
    FakeUserDefaults defaults;
    const LockPreferences preferences(defaults);
    for (const auto& [stored, delay] : {std::pair(Json(), 5min), {0, 5min}, {1, 1min}, {241, 240min}}) {
        defaults.values["brisko.lock.minutes"] = stored;
        EXPECT_EQ(preferences.delay(), delay) << stored;
    }
    const std::pair<bool, std::vector<Json>> switches[] = {
        {true, {true, 1, 0.5, "YES", "-01", "true"}}, {false, {nullptr, false, "no", "00", Json::object()}}};
    for (const auto& [on, allStored] : switches)
        for (const auto& stored : allStored) {
            defaults.values["brisko.lock.enabled"] = defaults.values["brisko.lock.auto"] = stored;
            EXPECT_TRUE(preferences.enabled() == on && preferences.automatic() == on) << stored;
        }
}

TEST(LockShortcut, makesTheBestOfWhatItFindsAndIsControlCommandLWhereThatIsNothing) {
    FakeUserDefaults defaults;
    const LockShortcut shortcut(defaults);
    for (const auto& stored : {Json(5), Json()}) {
        defaults.values["brisko.lock.shortcut.key"] = stored;
        EXPECT_EQ(shortcut.keyEquivalent(), (KeyEquivalent{"l", 0x140000})) << stored;
    }
    const std::pair<KeyModifiers, std::vector<Json>> cases[] = {
        {0, {0, "bits", Json::object(), -0.5}},
        {1, {true}},
        {0x20000, {0x20000, 131072.9, " \t+131072 bits"}},
        {0x140000, {nullptr, -1, -1e300, "-99999999999999999999"}},
        {0x7FFFFFFFFFFFFFFF, {1e300, 18446744073709551615U, "99999999999999999999"}}};
    for (const auto& [flags, allStored] : cases)
        for (const auto& stored : allStored) {
            defaults.values["brisko.lock.shortcut.flags"] = stored;
            EXPECT_EQ(shortcut.flags(), flags) << stored;
        }
}

TEST(IdleLock, comesExactlyWhenTheDelayHasPassedAlsoByAClockThatIsSetBack) {
    constexpr Clock::time_point start(1'800'000'000s);
    const IdleLock::State armed = {true, true, false, Passcode::Shape{"ann", 4}, 5min};
    // A clock that is set back postpones it by one delay.
    const auto now = start - 24h;
    const auto lastUse = IdleLock::believableUse(IdleLock::believableUse(start, now), now + 299s);
    EXPECT_FALSE(IdleLock::isDue(armed, lastUse, now + 299s));
    EXPECT_TRUE(IdleLock::isDue(armed, lastUse, now + 300s));
}
