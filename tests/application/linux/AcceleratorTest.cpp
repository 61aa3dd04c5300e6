#include "application/linux/Accelerator.h"

#include "application/Menus.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

TEST(Accelerator, spellsEachKeyAsTheToolkitDoesAndIsNoneWhereItHasNoSuchKey) {
    std::string names;
    for (const auto* combo :
         {"mod+V",         "mod+\xC3\xA9", "mod+,",        "F5",     "alt+enter", "mod+space",
          "mod+backspace", "mod+delete",   "alt+escape",   "mod+up", "mod+down",  "mod+left",
          "mod+right",     "mod+PageUp",   "mod+PageDown", "up",     "mod",       "mod+shift",
          "mod+NoSuchKey", "mod+ab",       "mod+Shift_L"}) {
        const auto accelerator = Accelerator::of(*Menus::keys(combo));
        names += (accelerator ? accelerator->name() : "none") + " ";
    }
    EXPECT_EQ(names, "<Shift><Control>v <Control>eacute <Control>comma F5 <Alt>Return <Control>space "
                     "<Control>BackSpace <Control>Delete <Alt>Escape <Control>Up <Control>Down <Control>Left "
                     "<Control>Right <Control>Page_Up <Control>Page_Down none none none none none none ");
    EXPECT_EQ(Accelerator::of({"l", KeyModifier::control | 0x100})->name(), "<Super>l");
}

TEST(Accelerator, isFoundWhereverTheKeyboardHasItsCharacter) {
    EXPECT_THAT(Accelerator{GDK_KEY_plus}.keys(), ElementsAre(GDK_KEY_plus, GDK_KEY_KP_Add, GDK_KEY_equal));
    EXPECT_THAT(Accelerator{GDK_KEY_0}.keys(), ElementsAre(GDK_KEY_0, GDK_KEY_KP_0));
    EXPECT_THAT(Accelerator{GDK_KEY_v}.keys(), ElementsAre(GDK_KEY_v));
}

TEST(Accelerator, typesSomethingUnlessAModifierOtherThanShiftIsHeld) {
    EXPECT_TRUE(Accelerator::of({"l", KeyModifier::shift})->typesText());
    for (const auto modifier : {KeyModifier::command, KeyModifier::option, KeyModifier::control})
        EXPECT_FALSE(Accelerator::of({"l", modifier})->typesText());
}
