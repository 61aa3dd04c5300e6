#include "application/Menus.h"

#include "Scenario.h"
#include "fakes/FakePlatform.h"

#include <gtest/gtest.h>

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
};

} // namespace

TEST_F(MenusTest, followTheBindingsOfTheAccount) {
    EXPECT_EQ(keysOf({pasteAsPlainText, toggleFullScreen, lockNow, undo, cut, hide}),
              "⌥⇧⌘v ⌃⌘f ⌃⌘l ⌘z ⌘x ⌘h");
    menus.onChanged = [this] { told += 1; };
    const std::tuple<Shortcuts, const char*, int> cases[] = {
        {{{"toggleView", "alt+t"}, {"NewTask", "mod+j"}, {"elsewhere", "mod+j"}}, "⌘n ⌘k ⌘f ⌥t ⌘,", 1},
        {{{"newTask", ""}, {"spotlight", "+"}}, "none! none ⌘f ⌥t ⌘,", 2},
        {{{"newTask", "mod+n"}}, "⌘n none ⌘f ⌥t ⌘,", 3}};
    for (const auto& [bindings, keys, changes] : cases) {
        menus.adopt(bindings);
        EXPECT_EQ(keysOf({newTask, searchAll, filterList, switchView, openSettings}), keys);
        EXPECT_EQ(told, changes);
    }
}
