#include "lock/LockPreferences.h"

#include "fakes/FakePlatform.h"
#include "lock/LockShortcut.h"

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
    const std::pair<bool, std::vector<Json>> switches[] = {
        {true, {true, 1, 0.5, "YES", "-01", "true"}},
        {false, {nullptr, false, 0, "no", "00", Json::object()}}};
    for (const auto& [on, allStored] : switches)
        for (const auto& stored : allStored) {
            defaults.values["brisko.lock.enabled"] = defaults.values["brisko.lock.auto"] = stored;
            EXPECT_TRUE(preferences.enabled() == on && preferences.automatic() == on) << stored;
        }
}

TEST(LockShortcut, isControlCommandLUntilThePersonChoosesAnotherOneAndIsShownInTheOrderOfTheSymbols) {
    FakeUserDefaults defaults;
    LockShortcut shortcut(defaults);
    EXPECT_EQ(shortcut.keyEquivalent(), (KeyEquivalent{"l", 0x140000}));
    const std::tuple<const char*, KeyModifiers, const char*> cases[] = {
        {"k", 0x120000, "⇧⌘K"}, {"9", 0x1A0000, "⌥⇧⌘9"}, {"a", 0x1E0000, "⌃⌥⇧⌘A"}, {"a", 0, "A"},
        {"é", 0x100108, "⌘É"},  {"", 0, "None"},         {"", 0x100000, "None"}};
    for (const auto& [key, flags, text] : cases) {
        shortcut.set(key, flags);
        EXPECT_EQ(shortcut.display(), text);
        EXPECT_EQ(shortcut.keyEquivalent().has_value(), *key != '\0');
    }
    defaults.broken = true;
    EXPECT_THROW(shortcut.set("j", 0x100000), Error);
    EXPECT_THROW(shortcut.reset(), Error);
    EXPECT_EQ(shortcut.display(), "None");
}

TEST(LockShortcut, readsEachOfTheTwoByItselfAndMakesTheBestOfWhatItFinds) {
    FakeUserDefaults defaults;
    const LockShortcut shortcut(defaults);
    defaults.values["brisko.lock.shortcut.key"] = "j";
    EXPECT_EQ(shortcut.display(), "⌃⌘J");
    for (const auto& damaged : {Json(5), Json(true), Json::array({"j"}), Json()}) {
        defaults.values["brisko.lock.shortcut.key"] = damaged;
        EXPECT_EQ(shortcut.key(), "l") << damaged;
    }
    const std::pair<KeyModifiers, std::vector<Json>> cases[] = {
        {0, {0, "bits", "+-5", "", Json::array({131072}), Json::object(), -0.5}},
        {1, {true}},
        {0x20000, {0x20000, 131072.9, "131072", " \t+131072 bits"}},
        {0x140000, {nullptr, -1, -1e300, "-131072", "-99999999999999999999"}},
        {0x7FFFFFFFFFFFFFFF, {1e300, 18446744073709551615U, "99999999999999999999"}}};
    for (const auto& [flags, allStored] : cases)
        for (const auto& stored : allStored) {
            defaults.values["brisko.lock.shortcut.flags"] = stored;
            EXPECT_EQ(shortcut.flags(), flags) << stored;
        }
}
