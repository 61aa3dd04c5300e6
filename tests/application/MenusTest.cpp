#include "application/Menus.h"

#include "fakes/FakePlatform.h"
#include "web/PageZoom.h"

#include <gtest/gtest.h>

namespace {

constexpr KeyModifiers shift = 0x20000;
constexpr KeyModifiers command = 0x100000;
constexpr auto own = MenuItem::Target::delegate;
constexpr auto chain = MenuItem::Target::responderChain;

/// One line of a menu; one without a title is a separator.
struct Row {
    const char* title = nullptr;
    MenuCommand command = MenuCommand::showAbout;
    const char* key = "";
    KeyModifiers modifiers = 0;
    MenuItem::Target target = own;
    std::optional<MenuAction> action = std::nullopt;
};

using enum MenuCommand;

const std::vector<std::pair<std::string, std::vector<Row>>> table = {
    {"brisko",
     {{"About brisko", showAbout},
      {},
      {"Settings…", openSettings, ",", command, own, MenuAction::openSettings},
      {"Lock & Passcode…", openLockSettings},
      {"Lock Now", lockNow, "l", 0x140000},
      {},
      {"Hide brisko", hide, "h", command, chain},
      {"Hide Others", hideOtherApplications, "h", 0x180000, chain},
      {"Show All", unhideAllApplications, "", 0, chain},
      {},
      {"Quit brisko", terminate, "q", command, chain}}},
    {"File",
     {{"New Task", newTask, "n", command, own, MenuAction::newTask},
      {},
      {"Search All Tasks", searchAll, "k", command, own, MenuAction::spotlight},
      {"Filter This List", filterList, "f", command, own, MenuAction::search},
      {},
      {"Close Window", performClose, "w", command, chain}}},
    {"Edit",
     {{"Undo", undo, "z", command, chain},
      {"Redo", redo, "z", 0x120000, chain},
      {},
      {"Cut", cut, "x", command, chain},
      {"Copy", copy, "c", command, chain},
      {"Paste", paste, "v", command, chain},
      {"Paste and Match Style", pasteAsPlainText, "v", 0x1A0000, chain},
      {"Select All", selectAll, "a", command, chain}}},
    {"View",
     {{"Reload", reloadPage, "r", command},
      {},
      {"Actual Size", actualSize, "0", command},
      {"Zoom In", zoomIn, "+", command},
      {"Zoom Out", zoomOut, "-", command},
      {},
      {"Switch List / Kanban", switchView, "v", 0x120000, own, MenuAction::toggleView},
      {},
      {"Enter Full Screen", toggleFullScreen, "f", 0x140000, chain}}},
    {"Window",
     {{"Minimize", performMiniaturize, "m", command, chain},
      {"Zoom", performZoom, "", 0, chain},
      {},
      {"Bring All to Front", arrangeInFront, "", 0, chain}}},
    {"Help", {{"brisko Guides", openGuides}, {"Privacy Policy", openPrivacy}}},
};

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
    ASSERT_EQ(menus.menus().size(), table.size());
    for (std::size_t i = 0; i < table.size(); ++i) {
        const auto& menu = menus.menus()[i];
        EXPECT_EQ(menu.title, table[i].first);
        // The separators are where the sections meet.
        std::vector<const MenuItem*> lines;
        for (const auto& section : menu.sections) {
            if (!lines.empty())
                lines.push_back(nullptr);
            for (const auto& item : section)
                lines.push_back(&item);
        }
        ASSERT_EQ(lines.size(), table[i].second.size()) << menu.title;
        for (std::size_t line = 0; line < lines.size(); ++line) {
            const auto& row = table[i].second[line];
            ASSERT_EQ(lines[line] != nullptr, row.title != nullptr) << menu.title << line;
            if (!row.title)
                continue;
            const auto& item = *lines[line];
            EXPECT_EQ(item.title, row.title);
            EXPECT_EQ(item.command, row.command) << row.title;
            EXPECT_EQ(item.keyEquivalent, equivalent(row.key, row.modifiers)) << row.title;
            EXPECT_EQ(item.target, row.target) << row.title;
            EXPECT_EQ(item.action, row.action) << row.title;
            EXPECT_EQ(&menus.item(row.command), &item) << row.title;
        }
    }
}

TEST_F(MenusTest, readsTheKeysOfACombo) {
    constexpr KeyModifiers option = 0x80000;
    for (const auto& [combo, key, modifiers] : {std::tuple("mod+shift+v", "v", command | shift),
                                                {"mod+,", ",", command},
                                                {"n", "n", 0U},
                                                {"alt+enter", "\r", option},
                                                {"backspace", "\b", 0U},
                                                {"shift+delete", "\x7F", shift},
                                                {"mod+space", " ", command},
                                                {"escape", "\x1B", 0U},
                                                {"up", "\xEF\x9C\x80", 0U},
                                                {"down", "\xEF\x9C\x81", 0U},
                                                {"left", "\xEF\x9C\x82", 0U},
                                                {"right", "\xEF\x9C\x83", 0U},
                                                {"ctrl+k", "k", 0U},
                                                {"alt+mod+mod+0", "0", command | option},
                                                {"++mod++k+", "k", command},
                                                {"mod+F5", "F5", command},
                                                {"mod", "mod", 0U},
                                                {"mod+Enter", "Enter", command},
                                                {"mod+\xC3\xA9", "\xC3\xA9", command},
                                                {"", "", 0U},
                                                {"+", "", 0U},
                                                {"+++", "", 0U}})
        EXPECT_EQ(Menus::keys(combo), equivalent(key, modifiers)) << combo;
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
