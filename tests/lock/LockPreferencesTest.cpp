#include "lock/LockPreferences.h"

#include "fakes/FakePlatform.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

TEST(LockPreferences, makeTheBestOfWhatIsStored) {
    FakeUserDefaults defaults;
    const LockPreferences preferences(defaults);
    const std::pair<Json, std::chrono::minutes> delays[] = {
        {nullptr, 5min}, {0, 5min},     {-3, 5min},           {1, 1min},
        {240, 240min},   {241, 240min}, {UINT64_MAX, 240min}, {"soon", 5min}};
    for (const auto& [stored, delay] : delays) {
        defaults.values["brisko.lock.minutes"] = stored;
        EXPECT_EQ(preferences.delay(), delay) << stored;
    }
    const std::pair<Json, bool> switches[] = {{nullptr, false}, {true, true},  {false, false},
                                              {1, true},        {0, false},    {0.5, true},
                                              {"YES", true},    {"-01", true}, {"true", true},
                                              {"no", false},    {"00", false}, {Json::object(), false}};
    for (const auto& [stored, on] : switches) {
        defaults.values["brisko.lock.enabled"] = defaults.values["brisko.lock.auto"] = stored;
        EXPECT_EQ(preferences.enabled(), on) << stored;
        EXPECT_EQ(preferences.automatic(), on) << stored;
    }
}
