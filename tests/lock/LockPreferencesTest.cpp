#include "lock/LockPreferences.h"

#include "fakes/FakePlatform.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

TEST(LockPreferences, makeTheBestOfWhatIsStored) {
    FakeUserDefaults defaults;
    const LockPreferences preferences(defaults);
    EXPECT_FALSE(preferences.enabled());
    EXPECT_FALSE(preferences.automatic());
    EXPECT_EQ(preferences.delay(), 5min);
    for (const auto& [stored, delay] :
         std::vector<std::pair<Json, std::chrono::minutes>>{{0, 5min},
                                                            {-3, 5min},
                                                            {1, 1min},
                                                            {240, 240min},
                                                            {241, 240min},
                                                            {1000, 240min},
                                                            {INT64_MAX, 240min},
                                                            {UINT64_MAX, 240min},
                                                            {INT64_MIN, 5min},
                                                            {7.9, 7min},
                                                            {1e300, 240min},
                                                            {" 12 minutes", 12min},
                                                            {"soon", 5min},
                                                            {true, 1min},
                                                            {nullptr, 5min},
                                                            {Json::array({9}), 5min}}) {
        defaults.values["brisko.lock.minutes"] = stored;
        EXPECT_EQ(preferences.delay(), delay) << stored;
    }
    for (const auto& [stored, on] : std::vector<std::pair<Json, bool>>{{true, true},
                                                                       {false, false},
                                                                       {1, true},
                                                                       {0, false},
                                                                       {0.5, true},
                                                                       {"YES", true},
                                                                       {"-01", true},
                                                                       {"true", true},
                                                                       {"no", false},
                                                                       {"00", false},
                                                                       {Json::object(), false}}) {
        defaults.values["brisko.lock.enabled"] = stored;
        defaults.values["brisko.lock.auto"] = stored;
        EXPECT_EQ(preferences.enabled(), on) << stored;
        EXPECT_EQ(preferences.automatic(), on) << stored;
    }
}

TEST(LockPreferences, storeOnlyDelaysThatThereAre) {
    FakeUserDefaults defaults;
    LockPreferences preferences(defaults);
    for (const auto& [given, stored] : {std::pair(0min, 1), {-5min, 1}, {90min, 90}, {999min, 240}}) {
        preferences.setDelay(given);
        EXPECT_EQ(defaults.values["brisko.lock.minutes"], stored);
    }
    preferences.setEnabled(true);
    preferences.setAutomatic(true);
    EXPECT_EQ(Json(defaults.values).dump(),
              R"({"brisko.lock.auto":true,"brisko.lock.enabled":true,"brisko.lock.minutes":240})");
}
