#include "application/Menus.h"

#include "fakes/FakePlatform.h"
#include "web/PageZoom.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

constexpr KeyModifiers shift = 0x20000;
constexpr KeyModifiers command = 0x100000;
using enum MenuCommand;
using testing::ElementsAre;

/// An item as "Title ⌃⌥⇧⌘k", with a dot where the part of the window that has the keyboard is to do it.
std::string described(const MenuItem& item) {
    auto text = item.title;
    if (const auto& keys = item.keyEquivalent) {
        text += " ";
        for (const auto& [modifier, symbol] :
             {std::pair(0x40000U, "⌃"), {0x80000U, "⌥"}, {0x20000U, "⇧"}, {0x100000U, "⌘"}})
            text += keys->modifiers & modifier ? symbol : "";
        text += keys->key;
    }
    return text + (item.target == MenuItem::Target::responderChain ? "." : "");
}

std::optional<KeyEquivalent> equivalent(const char* key, KeyModifiers modifiers) {
    return *key ? std::optional(KeyEquivalent{key, modifiers}) : std::nullopt;
}

class MenusTest : public testing::Test {
protected:
    FakeUserDefaults defaults;
    LockShortcut lockShortcut{defaults};
    Menus menus{lockShortcut};

    std::optional<KeyEquivalent> keyOf(MenuCommand what) { return menus.item(what).keyEquivalent; }
    bool enabled(MenuCommand what, const MenuState& state) {
        return menus.isEnabled(menus.item(what), state);
    }
};

} // namespace

TEST_F(MenusTest, standAsTheTableSays) {
    std::vector<std::string> texts;
    auto next = 0; // the commands are declared in the order of the menus
    for (const auto& menu : menus.menus()) {
        texts.push_back(menu.title + ":");
        for (const auto& section : menu.sections) {
            texts.back() += &section == &menu.sections.front() ? "" : " |";
            for (const auto& item : section) {
                texts.back() += " " + described(item);
                EXPECT_EQ(item.command, static_cast<MenuCommand>(next++)) << item.title;
                EXPECT_EQ(&menus.item(item.command), &item) << item.title;
            }
        }
    }
    EXPECT_THAT(texts,
                ElementsAre("brisko: About brisko | Settings… ⌘, Lock & Passcode… Lock Now ⌃⌘l | "
                            "Hide brisko ⌘h. Hide Others ⌥⌘h. Show All. | Quit brisko ⌘q.",
                            "File: New Task ⌘n | Search All Tasks ⌘k Filter This List ⌘f | Close Window ⌘w.",
                            "Edit: Undo ⌘z. Redo ⇧⌘z. | "
                            "Cut ⌘x. Copy ⌘c. Paste ⌘v. Paste and Match Style ⌥⇧⌘v. Select All ⌘a.",
                            "View: Reload ⌘r | Actual Size ⌘0 Zoom In ⌘+ Zoom Out ⌘- | "
                            "Switch List / Kanban ⇧⌘v | Enter Full Screen ⌃⌘f.",
                            "Window: Minimize ⌘m. Zoom. | Bring All to Front.",
                            "Help: brisko Guides Privacy Policy"));
}

TEST_F(MenusTest, readsTheKeysOfACombo) {
    constexpr KeyModifiers option = 0x80000;
    const std::pair<const char*, const char*> named[] = {
        {"enter", "\r"},          {"backspace", "\b"},      {"delete", "\x7F"},
        {"space", " "},           {"escape", "\x1B"},       {"up", "\xEF\x9C\x80"},
        {"down", "\xEF\x9C\x81"}, {"left", "\xEF\x9C\x82"}, {"right", "\xEF\x9C\x83"}};
    for (const auto& [name, key] : named)
        EXPECT_EQ(Menus::keys(name), equivalent(key, 0)) << name;
    const std::tuple<const char*, const char*, KeyModifiers> combos[] = {
        {"mod+shift+v", "v", command | shift},
        {"n", "n", 0},
        {"alt+enter", "\r", option},
        {"ctrl+k", "k", 0},
        {"alt+mod+mod+0", "0", command | option},
        {"++mod++k+", "k", command},
        {"mod+F5", "F5", command},
        {"mod", "mod", 0},
        {"mod+Enter", "Enter", command},
        {"mod+é", "é", command}};
    for (const auto& [combo, key, modifiers] : combos)
        EXPECT_EQ(Menus::keys(combo), equivalent(key, modifiers)) << combo;
    for (const auto* none : {"", "+", "+++"})
        EXPECT_EQ(Menus::keys(none), std::nullopt) << none;
}

TEST_F(MenusTest, followTheBindingsOfTheAccount) {
    int told = 0;
    menus.onChanged = [&told] { told += 1; };
    menus.adopt({{"toggleView", "alt+t"}, {"NewTask", "mod+j"}, {"elsewhere", "mod+j"}});
    EXPECT_EQ(keyOf(switchView), (KeyEquivalent{"t", 0x80000}));
    for (const auto& [what, key] :
         {std::pair(newTask, "n"), {searchAll, "k"}, {filterList, "f"}, {openSettings, ","}})
        EXPECT_EQ(keyOf(what), (KeyEquivalent{key, command}));

    menus.adopt({{"newTask", ""}, {"spotlight", "+"}});
    EXPECT_EQ(keyOf(newTask), std::nullopt);
    EXPECT_FALSE(menus.isBound(MenuAction::newTask));
    EXPECT_EQ(keyOf(searchAll), std::nullopt) << "no key, but a binding";
    EXPECT_TRUE(menus.isBound(MenuAction::spotlight));
    EXPECT_TRUE(menus.isBound(MenuAction::search)) << "never heard of";
    EXPECT_EQ(keyOf(switchView), (KeyEquivalent{"t", 0x80000})) << "left out, left alone";
    EXPECT_EQ(told, 2);

    menus.adopt({{"newTask", ""}, {"toggleView", "alt+t"}});
    menus.adopt({});
    EXPECT_EQ(told, 2) << "nothing has changed";
    menus.adopt({{"newTask", "mod+n"}});
    EXPECT_TRUE(menus.isBound(MenuAction::newTask));
    EXPECT_EQ(keyOf(newTask), (KeyEquivalent{"n", command}));
    EXPECT_EQ(told, 3);
}

TEST_F(MenusTest, showTheLockShortcutAfterItHasChanged) {
    lockShortcut.set("k", 0x120000);
    EXPECT_EQ(Menus(lockShortcut).item(lockNow).keyEquivalent, (KeyEquivalent{"k", 0x120000}));
    EXPECT_EQ(keyOf(lockNow), (KeyEquivalent{"l", 0x140000}));
    menus.applyLockShortcut();
    EXPECT_EQ(keyOf(lockNow), (KeyEquivalent{"k", 0x120000})) << "with nobody to tell";
    int told = 0;
    menus.onChanged = [&told] { told += 1; };
    lockShortcut.set("", 0x120000);
    menus.applyLockShortcut();
    menus.applyLockShortcut();
    EXPECT_EQ(keyOf(lockNow), std::nullopt);
    EXPECT_EQ(told, 1);
}

TEST_F(MenusTest, canBeChosenAsTheStateAllows) {
    menus.adopt({{"search", ""}});
    using Commands = std::vector<MenuCommand>;
    const Commands always = {openGuides, openPrivacy, showAbout};
    const Commands overThePage = {openLockSettings, openSettings, newTask, searchAll, switchView,
                                  reloadPage,       actualSize,   zoomIn,  zoomOut};
    for (const auto& state :
         {MenuState{false, false, false}, MenuState{false, true, false}, MenuState{false, true, true},
          MenuState{true, false, false}, MenuState{true, true, false}, MenuState{true, true, true},
          MenuState{true, false, true}}) {
        for (const auto what : always)
            EXPECT_TRUE(enabled(what, state));
        for (const auto what : overThePage)
            EXPECT_EQ(enabled(what, state), state.showingApp) << menus.item(what).title;
        EXPECT_FALSE(enabled(filterList, state)) << "it is unbound";
        EXPECT_TRUE(enabled(selectAll, state)) << "decided where the keyboard is";
    }
    for (const auto& [state, expected] : {std::pair(MenuState{true, true, false}, true),
                                          {MenuState{true, true, true}, false},
                                          {MenuState{true, false, false}, false},
                                          {MenuState{false, true, false}, false}})
        EXPECT_EQ(enabled(lockNow, state), expected);
}

TEST(PageZoom, staysWithinItsLimits) {
    for (const auto& [zoom, in, out] : {std::tuple(1.0, 1.1, 0.9),
                                        {2.95, 3.0, 2.85},
                                        {3.0, 3.0, 2.9},
                                        {0.55, 0.65, 0.5},
                                        {0.5, 0.6, 0.5},
                                        {9.0, 3.0, 3.0}}) {
        EXPECT_DOUBLE_EQ(PageZoom::in(zoom), in);
        EXPECT_DOUBLE_EQ(PageZoom::out(zoom), out);
    }
    EXPECT_EQ(PageZoom::actual, 1.0);
}
