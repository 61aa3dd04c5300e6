#include "lock/LockShortcut.h"

#include "fakes/FakePlatform.h"

#include <gtest/gtest.h>

namespace {

struct LockShortcutTest : testing::Test {
    FakeUserDefaults defaults;
    LockShortcut shortcut{defaults};
};

} // namespace

TEST_F(LockShortcutTest, isControlCommandLUntilThePersonChoosesAnotherOneAndAgainAfterAReset) {
    EXPECT_EQ(shortcut.keyEquivalent(), (KeyEquivalent{"l", 0x140000}));
    shortcut.set("k", 0x120000);
    EXPECT_EQ(Json(defaults.values).dump(),
              R"({"brisko.lock.shortcut.flags":1179648,"brisko.lock.shortcut.key":"k"})");
    defaults.broken = true;
    EXPECT_THROW(shortcut.set("j", 0x100000), Error);
    EXPECT_THROW(shortcut.reset(), Error);
    EXPECT_EQ(shortcut.keyEquivalent(), (KeyEquivalent{"k", 0x120000}));
    defaults.broken = false;
    shortcut.reset();
    EXPECT_TRUE(defaults.values.empty());
}

TEST_F(LockShortcutTest, isShownInTheOrderOfTheSymbols) {
    const std::tuple<const char*, KeyModifiers, const char*> cases[] = {
        {"k", 0x120000, "⇧⌘K"}, {"9", 0x1A0000, "⌥⇧⌘9"}, {"a", 0x1E0000, "⌃⌥⇧⌘A"}, {"a", 0, "A"},
        {"é", 0x100108, "⌘É"},  {"", 0, "None"},         {"", 0x100000, "None"}};
    for (const auto& [key, flags, text] : cases) {
        shortcut.set(key, flags);
        EXPECT_EQ(shortcut.display(), text);
        EXPECT_EQ(shortcut.keyEquivalent().has_value(), *key != '\0');
    }
}

TEST_F(LockShortcutTest, readsEachOfTheTwoByItselfAndMakesTheBestOfWhatItFinds) {
    defaults.values["brisko.lock.shortcut.key"] = "j";
    EXPECT_EQ(shortcut.display(), "⌃⌘J");
    for (const auto& damaged : {Json(5), Json(true), Json::array({"j"}), Json()}) {
        defaults.values["brisko.lock.shortcut.key"] = damaged;
        EXPECT_EQ(shortcut.key(), "l") << damaged;
    }
    constexpr KeyModifiers most = 0x7FFFFFFFFFFFFFFF;
    const std::pair<KeyModifiers, std::vector<Json>> cases[] = {
        {0, {0, "bits", "+-5", "", Json::array({131072}), Json::object(), -0.5}},
        {1, {true}},
        {0x20000, {0x20000, 131072.9, "131072", " \t+131072 bits"}},
        {0x140000, {nullptr, -1, -1e300, "-131072", "-99999999999999999999"}},
        {most, {1e300, 18446744073709551615U, "99999999999999999999"}}};
    for (const auto& [flags, allStored] : cases)
        for (const auto& stored : allStored) {
            defaults.values["brisko.lock.shortcut.flags"] = stored;
            EXPECT_EQ(shortcut.flags(), flags) << stored;
        }
}
