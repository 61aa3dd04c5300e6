#include "application/linux/Accelerator.h"

#include "application/Menus.h"

#include <gdk/gdk.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

/// Of a combo, as the page reports it; empty where there is none.
std::string nameOf(std::string_view combo) {
    const auto equivalent = Menus::keys(combo);
    const auto accelerator = equivalent ? Accelerator::of(*equivalent) : std::nullopt;
    return accelerator ? accelerator->name() : std::string();
}

bool includes(const std::vector<guint>& keys, guint key) {
    return std::find(keys.begin(), keys.end(), key) != keys.end();
}

} // namespace

TEST(Accelerator, spellsEachKeyAndModifierAsTheToolkitDoes) {
    for (const auto& [combo, name] : {std::pair("mod+n", "<Control>n"),
                                      {"mod+shift+v", "<Shift><Control>v"},
                                      {"alt+t", "<Alt>t"},
                                      {"mod+,", "<Control>comma"},
                                      {"mod+0", "<Control>0"},
                                      {"mod+V", "<Shift><Control>v"},
                                      {"mod+\xC3\xA9", "<Control>eacute"},
                                      {"alt+enter", "<Alt>Return"},
                                      {"mod+space", "<Control>space"},
                                      {"mod+backspace", "<Control>BackSpace"},
                                      {"mod+delete", "<Control>Delete"},
                                      {"alt+escape", "<Alt>Escape"},
                                      {"mod+up", "<Control>Up"},
                                      {"mod+down", "<Control>Down"},
                                      {"mod+left", "<Control>Left"},
                                      {"mod+right", "<Control>Right"},
                                      {"F5", "F5"},
                                      {"mod+PageDown", "<Control>Page_Down"}})
        EXPECT_EQ(nameOf(combo), name) << combo;
    const auto lock = Accelerator::of({"l", KeyModifier::control | KeyModifier::command | 0x100});
    ASSERT_TRUE(lock);
    EXPECT_EQ(lock->name(), "<Control><Super>l");
}

TEST(Accelerator, isNoneWhereTheToolkitHasNoSuchKey) {
    for (const auto* combo : {"up", "mod", "mod+shift", "mod+NoSuchKey", "mod+ab", "mod+Shift_L", ""})
        EXPECT_EQ(nameOf(combo), "") << combo;
}

TEST(Accelerator, isFoundWhereverTheKeyboardHasItsCharacter) {
    EXPECT_TRUE(includes(Accelerator{GDK_KEY_plus}.keys(), GDK_KEY_KP_Add));
    EXPECT_TRUE(includes(Accelerator{GDK_KEY_plus}.keys(), GDK_KEY_equal));
    EXPECT_TRUE(includes(Accelerator{GDK_KEY_0}.keys(), GDK_KEY_KP_0));
    EXPECT_EQ(Accelerator{GDK_KEY_v}.keys(), std::vector<guint>{GDK_KEY_v});
}

TEST(Accelerator, typesSomethingUnlessAModifierOtherThanShiftIsHeld) {
    EXPECT_TRUE(Accelerator::of({"l", KeyModifier::shift})->typesText());
    for (const auto modifier : {KeyModifier::command, KeyModifier::option, KeyModifier::control})
        EXPECT_FALSE(Accelerator::of({"l", modifier})->typesText());
}
