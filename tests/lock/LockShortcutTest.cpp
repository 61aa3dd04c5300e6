#include "lock/LockShortcut.h"

#include "fakes/FakePlatform.h"

#include <gtest/gtest.h>

namespace {

constexpr auto keyKey = "brisko.lock.shortcut.key";
constexpr auto flagsKey = "brisko.lock.shortcut.flags";

} // namespace

TEST(LockShortcut, isControlCommandLUntilThePersonChoosesAnotherOneAndAgainAfterAReset) {
    FakeUserDefaults defaults;
    LockShortcut shortcut(defaults);
    const auto isDefault = [&shortcut] {
        return shortcut.keyEquivalent() == KeyEquivalent{"l", 0x140000} && shortcut.display() == "⌃⌘L";
    };
    EXPECT_TRUE(isDefault());
    shortcut.set("k", 0x120000);
    EXPECT_EQ(Json(defaults.values).dump(),
              R"({"brisko.lock.shortcut.flags":1179648,"brisko.lock.shortcut.key":"k"})");
    EXPECT_EQ(LockShortcut(defaults).keyEquivalent(), (KeyEquivalent{"k", 0x120000}));
    shortcut.reset();
    EXPECT_TRUE(defaults.values.empty());
    EXPECT_TRUE(isDefault());
}

TEST(LockShortcut, isShownInTheOrderOfTheSymbols) {
    FakeUserDefaults defaults;
    LockShortcut shortcut(defaults);
    for (const auto& [key, flags, text] : {std::tuple("k", 0x120000, "⇧⌘K"),
                                           {"9", 0x1A0000, "⌥⇧⌘9"},
                                           {"a", 0x1E0000, "⌃⌥⇧⌘A"},
                                           {"a", 0, "A"},
                                           {"\xC3\xA9", 0x100108, "⌘\xC3\x89"},
                                           {"", 0, "None"},
                                           {"", 0x100000, "None"}}) {
        shortcut.set(key, static_cast<KeyModifiers>(flags));
        EXPECT_EQ(shortcut.display(), text);
        EXPECT_EQ(shortcut.keyEquivalent().has_value(), *key != '\0');
    }
}

TEST(LockShortcut, readsEachOfTheTwoByItselfAndMakesTheBestOfWhatItFinds) {
    FakeUserDefaults defaults;
    const LockShortcut shortcut(defaults);
    defaults.values[keyKey] = "j";
    EXPECT_EQ(shortcut.display(), "⌃⌘J");
    for (const auto& damaged : {Json(5), Json(true), Json::array({"j"}), Json()}) {
        defaults.values[keyKey] = damaged;
        EXPECT_EQ(shortcut.key(), "l") << damaged;
    }
    for (const auto& [stored, flags] :
         std::vector<std::pair<Json, KeyModifiers>>{{0, 0},
                                                    {0x20000, 0x20000},
                                                    {true, 1},
                                                    {131072.9, 0x20000},
                                                    {1e300, 0x7FFFFFFFFFFFFFFF},
                                                    {18446744073709551615U, 0x7FFFFFFFFFFFFFFF},
                                                    {"131072", 0x20000},
                                                    {" \t+131072 bits", 0x20000},
                                                    {"99999999999999999999", 0x7FFFFFFFFFFFFFFF},
                                                    {"bits", 0},
                                                    {"+-5", 0},
                                                    {"", 0},
                                                    {Json::array({131072}), 0},
                                                    {Json::object(), 0},
                                                    {nullptr, 0x140000},
                                                    {-1, 0x140000},
                                                    {-0.5, 0},
                                                    {-1e300, 0x140000},
                                                    {"-131072", 0x140000},
                                                    {"-99999999999999999999", 0x140000}}) {
        defaults.values[flagsKey] = stored;
        EXPECT_EQ(shortcut.flags(), flags) << stored;
    }
}

TEST(LockShortcut, staysAsItWasWhereNothingCanBeWritten) {
    FakeUserDefaults defaults;
    LockShortcut shortcut(defaults);
    shortcut.set("k", 0x120000);
    defaults.broken = true;
    EXPECT_THROW(shortcut.set("j", 0x100000), Error);
    EXPECT_THROW(shortcut.reset(), Error);
    EXPECT_EQ(shortcut.display(), "⇧⌘K");
}
