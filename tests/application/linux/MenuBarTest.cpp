#include "application/linux/MenuBar.h"

#include "application/linux/WindowTest.h"

#include <gtkmm/eventcontrollerkey.h>

namespace {

using enum MenuCommand;
using testing::ElementsAre;

/// Notes what it is told to do.
class Target : public MenuTarget {
public:
    explicit Target(const Menus& menus) : menus_(menus) {}

    bool everything = false; ///< can be chosen; else what never needs a page
    std::vector<MenuCommand> performed;

    const Menus& menus() const override { return menus_; }
    bool validate(const MenuItem& item) const override {
        return everything || item.command == showAbout || item.command >= openGuides;
    }
    void perform(MenuCommand command) override { performed.push_back(command); }

private:
    const Menus& menus_;
};

class MenuBarTest : public WindowTest {
protected:
    struct Item {
        std::string title, keys;
        GtkWidget* widget;
    };

    LockShortcut shortcut{defaults};
    Menus menus{shortcut};
    Target target{menus};
    MenuBar bar{target, window, *Desk::application()};

    void enableEverything() {
        target.everything = true;
        target.onMenusChanged();
    }
    /// The items that the toolkit shows, from left to right and from top to bottom.
    std::vector<Item> items() {
        std::vector<Item> found;
        collect(GTK_WIDGET(window.window().gobj()), found);
        return found;
    }
    /// What is read there, with what cannot be chosen in parentheses and a line between sections and menus.
    std::string read() {
        std::string text;
        const GtkWidget* section = nullptr;
        for (const auto& item : items()) {
            const auto words = item.title + (item.keys.empty() ? "" : " " + item.keys);
            const auto* const before = std::exchange(section, gtk_widget_get_parent(item.widget));
            text += !before ? "" : before == section ? ", " : " | ";
            text += gtk_widget_is_sensitive(item.widget) ? words : "(" + words + ")";
        }
        return text;
    }
    /// The commands are declared in the order of the menus.
    Item item(MenuCommand command) { return items().at(static_cast<std::size_t>(command)); }
    void choose(MenuCommand command) { gtk_widget_activate(item(command).widget); }
    bool canChoose(MenuCommand command) { return gtk_widget_is_sensitive(item(command).widget); }

private:
    static void collect(GtkWidget* parent, std::vector<Item>& found) {
        for (auto* child = gtk_widget_get_first_child(parent); child;
             child = gtk_widget_get_next_sibling(child)) {
            if (G_OBJECT_TYPE_NAME(child) == std::string("GtkModelButton")) {
                char* title = nullptr;
                char* keys = nullptr;
                g_object_get(child, "text", &title, "accel", &keys, nullptr);
                found.push_back({GText(title).get(), GText(keys) ? keys : "", child});
            }
            collect(child, found);
        }
    }
};

} // namespace

TEST_F(MenuBarTest, showsEveryItemWithItsKeysAndWhatCanBeChosenNow) {
    EXPECT_EQ(read(),
              "About brisko | (Settings… <Control>comma), (Lock & Passcode…), (Lock Now <Control><Super>l) | "
              "Hide brisko <Control>h, Hide Others <Control><Alt>h, Show All | Quit brisko <Control>q | "
              "(New Task <Control>n) | (Search All Tasks <Control>k), (Filter This List <Control>f) | "
              "Close Window <Control>w | Undo <Control>z, Redo <Shift><Control>z | (Cut <Control>x), (Copy "
              "<Control>c), "
              "Paste <Control>v, Paste and Match Style <Shift><Control><Alt>v, (Select All <Control>a) | "
              "(Reload <Control>r) | (Actual Size <Control>0), (Zoom In <Control>plus), (Zoom Out "
              "<Control>minus) | "
              "(Switch List / Kanban <Shift><Control>v) | Enter Full Screen <Control><Super>f | "
              "Minimize <Control>m, Zoom | Bring All to Front | brisko Guides, Privacy Policy");
    for (const auto* menu : {"brisko", "File", "Edit", "View", "Window", "Help"})
        EXPECT_TRUE(Desk::shows(menu)) << menu;
    page.field.set_text("all of it");
    page.field.select_region(0, -1);
    menus.adopt({{"newTask", "alt+j"}, {"search", ""}});
    enableEverything();
    EXPECT_EQ(item(newTask).keys + item(filterList).keys, "<Alt>j");
    EXPECT_THAT(read(), testing::Not(testing::HasSubstr("(")));
    page.field.set_visibility(false);
    EXPECT_FALSE(canChoose(copy) || canChoose(cut)) << "of a secret";
    NoteScreen sheet("Sheet", "Minutes");
    window.presentSheet(sheet);
    Desk::seeKeyboardIn("Minutes");
    EXPECT_FALSE(canChoose(selectAll)) << "the sheet's field is empty";
    EXPECT_FALSE(canChoose(performClose)) << "the sheet says how it ends";
    window.dismissSheet();
    EXPECT_TRUE(canChoose(selectAll) && canChoose(performClose));
}

TEST_F(MenuBarTest, doesWhatItsItemsAndTheKeysBesideThemSay) {
    enableEverything();
    for (const auto& menu : menus.menus())
        for (const auto& section : menu.sections)
            for (const auto& each : section) {
                if (each.target != MenuItem::Target::delegate)
                    continue;
                choose(each.command);
                EXPECT_THAT(std::exchange(target.performed, {}), ElementsAre(each.command)) << each.title;
                if (const auto keys = item(each.command).keys; !keys.empty()) {
                    Desk::press(keys);
                    EXPECT_THAT(std::exchange(target.performed, {}), ElementsAre(each.command)) << keys;
                }
            }
    target.everything = false;
    target.onMenusChanged();
    choose(reloadPage);
    Desk::press("<Control>r");
    EXPECT_THAT(target.performed, ElementsAre());
}

TEST_F(MenuBarTest, leavesAKeyToTheFieldThatHasAUseOfItUnlessItAlwaysWins) {
    menus.adopt({{"newTask", "n"}});
    enableEverything();
    Desk::type("n");
    EXPECT_EQ(Desk::textIn("Note"), "n");
    const auto greedy = Gtk::EventControllerKey::create();
    greedy->signal_key_pressed().connect([](guint, guint, Gdk::ModifierType) { return true; }, false);
    page.field.add_controller(greedy);
    Desk::press("<Control>r n <Control><Super>l");
    EXPECT_THAT(target.performed, ElementsAre(lockNow));
}
