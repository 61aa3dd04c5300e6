#include "application/Menus.h"

#include "Scenario.h"
#include "fakes/FakePlatform.h"
#include "platform/Walk.h"
#include "web/PageZoom.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using enum MenuCommand;

/// Keys as "⌃⌥⇧⌘k", "none" without.
std::string words(const std::optional<KeyEquivalent>& keys) {
    std::string text;
    for (const auto& [bit, sign] :
         {std::pair(0x40000U, "⌃"), {0x80000U, "⌥"}, {0x20000U, "⇧"}, {0x100000U, "⌘"}})
        text += keys && keys->modifiers & bit ? sign : "";
    return keys ? text + keys->key : "none";
}

class MenusTest : public testing::Test {
protected:
    FakeUserDefaults defaults;
    LockShortcut lockShortcut{defaults};
    Menus menus{lockShortcut};
    int told = 0;

    std::string keysOf(const std::vector<MenuCommand>& commands) {
        std::vector<std::string> all;
        for (const auto command : commands) {
            const auto& item = menus.item(command);
            all.push_back(words(item.keyEquivalent) +
                          (item.action && !menus.isBound(*item.action) ? "!" : ""));
        }
        return Scenario::list(all);
    }
    /// The titles of the delegate's items that cannot be chosen.
    std::string disabled(const MenuState& state) {
        std::vector<std::string> titles;
        for (auto command = 0; command <= static_cast<int>(openPrivacy); ++command)
            if (const auto& item = menus.item(static_cast<MenuCommand>(command));
                !menus.isEnabled(item, state))
                titles.push_back(item.title);
        return Scenario::list(titles);
    }
};

} // namespace

TEST_F(MenusTest, holdEachCommandOnceUnderKeysOfItsOwnWithTheCommandKey) {
    std::set<std::string> keys;
    auto next = 0, without = 0; // the commands are declared in the order of the menus
    for (const auto& menu : menus.menus())
        for (const auto& section : menu.sections)
            for (const auto& item : section) {
                EXPECT_EQ(static_cast<int>(item.command), next++) << item.title;
                const auto text = words(item.keyEquivalent);
                text == "none" ? ++without : 0;
                EXPECT_TRUE(text == "none" || (keys.insert(text).second && text.find("⌘") != text.npos))
                    << text;
            }
    EXPECT_EQ(next, static_cast<int>(openPrivacy) + 1);
    EXPECT_EQ(without, 7);
    EXPECT_EQ(keysOf({pasteAsPlainText, toggleFullScreen, hideOtherApplications, redo}), "⌥⇧⌘v ⌃⌘f ⌥⌘h ⇧⌘z");
}

TEST_F(MenusTest, readTheKeysOfACombo) {
    walk("mod+shift+v  n  alt+enter  ctrl+k  mod+right  alt+mod+mod+0  ++mod++k+  mod+F5  mod  mod+Enter  +  "
         "+++",
         "⇧⌘v  n  ⌥\r  k  ⌘\xEF\x9C\x83  ⌥⌘0  ⌘k  ⌘F5  mod  ⌘Enter  none  none",
         [](const std::string& combo) { return words(Menus::keys(combo)); });
}

TEST_F(MenusTest, followTheBindingsOfTheAccount) {
    menus.onChanged = [this] { told += 1; };
    const std::tuple<Shortcuts, const char*, int> cases[] = {
        {{{"toggleView", "alt+t"}, {"NewTask", "mod+j"}, {"elsewhere", "mod+j"}}, "⌘n ⌘k ⌘f ⌥t ⌘,", 1},
        {{{"newTask", ""}, {"spotlight", "+"}}, "none! none ⌘f ⌥t ⌘,", 2},
        {{{"newTask", ""}, {"toggleView", "alt+t"}}, "none! none ⌘f ⌥t ⌘,", 2},
        {{}, "none! none ⌘f ⌥t ⌘,", 2},
        {{{"newTask", "mod+n"}}, "⌘n none ⌘f ⌥t ⌘,", 3}};
    for (const auto& [bindings, keys, changes] : cases) {
        menus.adopt(bindings);
        EXPECT_EQ(keysOf({newTask, searchAll, filterList, switchView, openSettings}), keys);
        EXPECT_EQ(told, changes);
    }
}

TEST_F(MenusTest, showTheLockShortcutAfterItHasChanged) {
    lockShortcut.set("k", 0x120000);
    EXPECT_EQ(words(Menus(lockShortcut).item(lockNow).keyEquivalent) + keysOf({lockNow}), "⇧⌘k⌃⌘l");
    menus.applyLockShortcut();
    EXPECT_EQ(keysOf({lockNow}), "⇧⌘k") << "with nobody to tell";
    menus.onChanged = [this] { told += 1; };
    lockShortcut.set("", 0x120000);
    menus.applyLockShortcut();
    menus.applyLockShortcut();
    EXPECT_EQ(keysOf({lockNow}), "none");
    EXPECT_EQ(told, 1);
}

TEST_F(MenusTest, canBeChosenAsTheStateAllows) {
    menus.adopt({{"search", ""}});
    EXPECT_EQ(disabled({false, true, false}),
              "Settings… Lock & Passcode… Lock Now New Task Search All Tasks Filter This List "
              "Reload Actual Size Zoom In Zoom Out Switch List / Kanban");
    EXPECT_EQ(disabled({true, true, false}), "Filter This List");
    for (const auto& state : {MenuState{true, false, false}, MenuState{true, true, true}})
        EXPECT_EQ(disabled(state), "Lock Now Filter This List");
}

TEST(PageZoom, staysWithinItsLimits) {
    const double cases[][3] = {{1, 1.1, 0.9}, {2.95, 3, 2.85}, {0.55, 0.65, 0.5}, {9, 3, 3}};
    for (const auto& [zoom, in, out] : cases) {
        EXPECT_DOUBLE_EQ(PageZoom::in(zoom), in);
        EXPECT_DOUBLE_EQ(PageZoom::out(zoom), out);
    }
}
