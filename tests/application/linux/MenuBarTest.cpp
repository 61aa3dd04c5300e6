#include "application/linux/MenuBar.h"

#include "application/linux/WindowTest.h"

#include <glibmm/main.h>
#include <gmock/gmock.h>
#include <gtkmm/eventcontrollerkey.h>

#include <algorithm>
#include <tuple>

namespace {

using enum MenuCommand;
using testing::ElementsAre;

/// Notes what it is told to do.
class Target : public MenuTarget {
public:
    explicit Target(const Menus& menus) : menus_(menus) {}

    std::set<MenuCommand> enabled;
    std::vector<MenuCommand> performed;

    const Menus& menus() const override { return menus_; }
    bool validate(const MenuItem& item) const override { return enabled.contains(item.command); }
    void perform(MenuCommand command) override { performed.push_back(command); }

private:
    const Menus& menus_;
};

class MenuBarTest : public WindowTest {
protected:
    struct Item {
        std::string title, keys;
        GtkWidget* widget;

        bool enabled() const { return gtk_widget_is_sensitive(widget); }
    };

    LockShortcut shortcut{defaults};
    Menus menus{shortcut};
    Target target{menus};
    MenuBar bar{target, window, *Desk::application()};

    void SetUp() override {
        WindowTest::SetUp();
        menus.onChanged = [this] { target.onMenusChanged(); };
    }
    void enableEverything() {
        for (const auto& menu : menus.menus())
            for (const auto& section : menu.sections)
                for (const auto& item : section)
                    target.enabled.insert(item.command);
        target.onMenusChanged();
    }

    /// The items that the toolkit shows, menu by menu.
    std::vector<std::vector<Item>> items() {
        std::vector<std::vector<Item>> found;
        collect(window.window().gobj(), found);
        return found;
    }
    /// A menu as it is read, with what cannot be chosen in parentheses and a line between sections.
    std::vector<std::string> read() {
        std::vector<std::string> texts;
        for (const auto& menu : items()) {
            auto& text = texts.emplace_back();
            const GtkWidget* section = nullptr;
            for (const auto& item : menu) {
                const auto words = item.title + (item.keys.empty() ? "" : " " + item.keys);
                const auto* const before = std::exchange(section, gtk_widget_get_parent(item.widget));
                text += !before ? "" : before == section ? ", " : " | ";
                text += item.enabled() ? words : "(" + words + ")";
            }
        }
        return texts;
    }
    Item item(MenuCommand command) {
        auto number = static_cast<std::size_t>(command); // they are declared in the order of the menus
        for (const auto& menu : items()) {
            if (number < menu.size())
                return menu[number];
            number -= menu.size();
        }
        throw std::logic_error("no such item");
    }
    /// Opens the item's menu and chooses it there.
    void choose(MenuCommand command) {
        const auto chosen = item(command);
        for (std::size_t menu = 0; menu < items().size(); ++menu)
            if (std::ranges::any_of(items()[menu], [&](const auto& i) { return i.widget == chosen.widget; }))
                bar.openMenu(menu);
        Desk::until([&] { return gtk_widget_get_mapped(chosen.widget) != FALSE; });
        gtk_widget_activate(chosen.widget);
        Desk::until([&] { return gtk_widget_get_mapped(chosen.widget) == FALSE; });
        // The keyboard comes back from the bar a little later.
        auto idle = false;
        Glib::signal_idle().connect_once([&] { idle = true; });
        Desk::until([&] { return idle; });
    }

private:
    template <class Widget>
    static void collect(Widget* parent, std::vector<std::vector<Item>>& found) {
        auto* child = gtk_widget_get_first_child(GTK_WIDGET(parent));
        for (; child; child = gtk_widget_get_next_sibling(child)) {
            if (GTK_IS_POPOVER_MENU(child))
                found.emplace_back();
            if (G_OBJECT_TYPE_NAME(child) == std::string("GtkModelButton")) {
                char* title = nullptr;
                char* keys = nullptr;
                g_object_get(child, "text", &title, "accel", &keys, nullptr);
                found.back().push_back({GText(title).get(), GText(keys) ? keys : "", child});
            }
            collect(child, found);
        }
    }
};

} // namespace

TEST_F(MenuBarTest, showsEveryItemWithItsKeysAndWhatCanBeChosenNow) {
    target.enabled = {showAbout, openGuides, openPrivacy};
    target.onMenusChanged();
    EXPECT_THAT(
        read(),
        ElementsAre(
            "About brisko | (Settings… <Control>comma), (Lock & Passcode…), (Lock Now <Control><Super>l) | "
            "Hide brisko <Control>h, Hide Others <Control><Alt>h, Show All | Quit brisko <Control>q",
            "(New Task <Control>n) | (Search All Tasks <Control>k), (Filter This List <Control>f) | "
            "Close Window <Control>w",
            "Undo <Control>z, Redo <Shift><Control>z | (Cut <Control>x), (Copy <Control>c), "
            "Paste <Control>v, Paste and Match Style <Shift><Control><Alt>v, (Select All <Control>a)",
            "(Reload <Control>r) | (Actual Size <Control>0), (Zoom In <Control>plus), "
            "(Zoom Out <Control>minus) | (Switch List / Kanban <Shift><Control>v) | "
            "Enter Full Screen <Control><Super>f",
            "Minimize <Control>m, Zoom | Bring All to Front", "brisko Guides, Privacy Policy"));
    enableEverything();
    page.field.set_text("all of it");
    page.field.select_region(0, -1);
    menus.adopt({{"newTask", "alt+j"}, {"search", ""}});
    EXPECT_EQ(item(newTask).keys, "<Alt>j");
    EXPECT_EQ(item(filterList).keys, "");
    for (const auto& menu : read())
        EXPECT_THAT(menu, testing::Not(testing::HasSubstr("(")));
    page.field.set_visibility(false);
    EXPECT_FALSE(item(copy).enabled() || item(cut).enabled()) << "of a secret";
    NoteScreen sheet("Sheet", "Minutes");
    window.presentSheet(sheet);
    Desk::seeKeyboardIn("Minutes");
    EXPECT_FALSE(item(performClose).enabled()) << "the sheet says how it ends";
    EXPECT_FALSE(item(selectAll).enabled()) << "the sheet's field is empty";
    Desk::press("<Control>r");
    EXPECT_THAT(target.performed, ElementsAre(reloadPage));
    window.dismissSheet();
    EXPECT_TRUE(item(performClose).enabled() && item(selectAll).enabled());
}

TEST_F(MenuBarTest, doesWhatItsItemsAndTheKeysBesideThemSay) {
    enableEverything();
    for (const auto& menu : menus.menus())
        for (const auto& section : menu.sections)
            for (const auto& each : section) {
                if (each.target != MenuItem::Target::delegate)
                    continue;
                choose(each.command);
                Desk::seeKeyboardIn("Note");
                EXPECT_THAT(std::exchange(target.performed, {}), ElementsAre(each.command)) << each.title;
                if (const auto keys = item(each.command).keys; !keys.empty()) {
                    Desk::press(keys);
                    EXPECT_THAT(std::exchange(target.performed, {}), ElementsAre(each.command)) << keys;
                }
            }
    target.enabled.clear();
    target.onMenusChanged();
    Desk::press("<Control>r");
    EXPECT_THAT(target.performed, ElementsAre());
}

TEST_F(MenuBarTest, editsInTheFieldThatHadTheKeyboardBeforeTheMenu) {
    for (const auto byKeys : {true, false}) {
        page.field.set_text("");
        Desk::type("abc");
        for (const auto& [command, keys, text] : {std::tuple(selectAll, "<Control>a", "abc"),
                                                  {copy, "<Control>c", "abc"},
                                                  {paste, "<Control>v", "abcabc"},
                                                  {selectAll, "<Control>a", "abcabc"},
                                                  {cut, "<Control>x", ""},
                                                  {undo, "<Control>z", "abcabc"},
                                                  {redo, "<Control><Shift>z", ""},
                                                  {pasteAsPlainText, "<Control><Alt><Shift>v", "abcabc"}}) {
            if (byKeys)
                Desk::press(keys);
            else
                choose(command);
            Desk::seeKeyboardIn("Note");
            Desk::until([text = text] { return Desk::textIn("Note") == text; });
            if (command == copy)
                Desk::press("End");
        }
    }
}

TEST_F(MenuBarTest, leavesAKeyToTheFieldThatHasAUseOfItUnlessItAlwaysWins) {
    enableEverything();
    menus.adopt({{"newTask", "n"}});
    Desk::type("n");
    EXPECT_EQ(Desk::textIn("Note"), "n");
    // A field that takes every key.
    const auto greedy = Gtk::EventControllerKey::create();
    greedy->signal_key_pressed().connect([](guint, guint, Gdk::ModifierType) { return true; }, false);
    page.field.add_controller(greedy);
    Desk::press("<Control>r n");
    EXPECT_THAT(target.performed, ElementsAre());
    Desk::press("<Control><Super>l");
    EXPECT_THAT(target.performed, ElementsAre(lockNow));
}
