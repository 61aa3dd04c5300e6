#include "application/linux/MenuBar.h"

#include "application/linux/Accelerator.h"
#include "application/linux/GtkPanels.h"
#include "application/linux/WindowTest.h"

namespace {

using enum MenuCommand;
using testing::ElementsAre;
using testing::HasSubstr;

/// Notes what it is told to do.
struct Target : MenuTarget {
    explicit Target(const Menus& given) : all(given) {}
    const Menus& menus() const override { return all; }
    bool validate(const MenuItem& item) const override {
        return everything || item.command == showAbout || item.command >= openGuides;
    }
    void perform(MenuCommand command) override { performed.push_back(command); }

    const Menus& all;
    bool everything = false; ///< can be chosen; else what never needs a page
    std::vector<MenuCommand> performed;
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
    MenuBar bar{target, window, *application};

    void setEverything(bool canBeChosen) {
        target.everything = canBeChosen;
        target.onMenusChanged();
    }
    /// The items that the toolkit shows, from left to right and from top to bottom.
    std::vector<Item> items() {
        std::vector<Item> found;
        Desk::walk(GTK_WIDGET(window.window().gobj()), [&](GtkWidget* widget) {
            if (G_OBJECT_TYPE_NAME(widget) == std::string("GtkModelButton")) {
                char* title = nullptr;
                char* keys = nullptr;
                g_object_get(widget, "text", &title, "accel", &keys, nullptr);
                const GText owner(keys);
                found.push_back({GText(title).get(), keys ? keys : "", widget});
            }
            return true;
        });
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
    /// The commands are declared in the order of the menus. The one window is listed before the last menu.
    Item item(MenuCommand command) {
        return items().at(static_cast<std::size_t>(command) + (command >= openGuides ? 1 : 0));
    }
    void choose(MenuCommand command) { gtk_widget_activate(item(command).widget); }
};

} // namespace

TEST_F(MenuBarTest, showsEveryItemWithItsKeysAndWhatCanBeChosenNow) {
    EXPECT_EQ(Desk::shown({"brisko", "File", "Edit", "View", "Window", "Help"}),
              "brisko, File, Edit, View, Window, Help");
    EXPECT_THAT(read(),
                testing::StartsWith("About brisko | (Settings… <Control>comma), (Lock & Passcode…), "));
    EXPECT_THAT(read(), HasSubstr("| Undo <Control>z, Redo <Shift><Control>z | (Cut <Control>x), "));
    Desk::until([this] { return read().find("Front | brisko | ") != std::string::npos; });
    EXPECT_THAT(read(),
                testing::EndsWith("Zoom | Bring All to Front | brisko | brisko Guides, Privacy Policy"));
    page.field.set_text("all of it");
    page.field.select_region(0, -1);
    menus.adopt({{"newTask", "alt+j"}, {"search", ""}});
    setEverything(true);
    EXPECT_THAT(read(),
                HasSubstr("New Task <Alt>j | Search All Tasks <Control>k, Filter This List | Close Window"));
    EXPECT_THAT(read(), testing::Not(HasSubstr("(")));
    NoteScreen sheet("Sheet", "Minutes");
    window.presentSheet(sheet);
    Desk::seeKeyboardIn("Minutes");
    EXPECT_THAT(read(), HasSubstr("(Close Window <Control>w)")) << "the sheet says how it ends";
    EXPECT_THAT(read(), HasSubstr("(Select All <Control>a)")) << "the sheet's field is empty";
    window.dismissSheet();
    page.field.set_visibility(false);
    EXPECT_THAT(read(), HasSubstr("| (Cut <Control>x), (Copy <Control>c), Paste <Control>v")) << "a secret";
    EXPECT_THAT(read(), HasSubstr(", Select All <Control>a")) << "of the page again";
}

TEST_F(MenuBarTest, doesWhatItsItemsAndKeysSayUnlessTheFieldHasAUseOfThem) {
    setEverything(true);
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
    menus.adopt({{"newTask", "n"}});
    setEverything(true);
    const auto greedy = Gtk::EventControllerKey::create();
    const auto takes = [](guint key, guint, Gdk::ModifierType) { return key == GDK_KEY_r; };
    greedy->signal_key_pressed().connect(takes, false);
    page.field.add_controller(greedy);
    Desk::press("n <Control>r <Control><Super>l");
    EXPECT_EQ(page.field.get_text(), "n");
    EXPECT_THAT(std::exchange(target.performed, {}), ElementsAre(lockNow)) << "which always wins";
    page.field.remove_controller(greedy);
    {
        GtkPanels panels(window.window());
        const auto alert = panels.alert("Alert", "text", [] {});
        Desk::seeKeyboardIn("OK");
        Desk::press("<Control>r <Control><Super>l");
        EXPECT_THAT(std::exchange(target.performed, {}), ElementsAre(reloadPage, lockNow)) << "over it";
    }
    Desk::seeKeyboardIn("Note");
    setEverything(false);
    choose(reloadPage);
    Desk::press("<Control>r");
    EXPECT_THAT(target.performed, ElementsAre());
}

TEST(Accelerator, spellsKeysAsTheToolkitDoesFindsThemOnEveryKeyboardAndKnowsWhichTypeText) {
    std::string names;
    for (const auto* combo :
         {"mod+V", "mod+\xC3\xA9", "F5", "alt+enter", "mod+PageUp", "up", "mod", "mod+NoSuchKey"}) {
        const auto accelerator = Accelerator::of(*Menus::keys(combo));
        names += accelerator ? accelerator->name() + (accelerator->typesText() ? "! " : " ") : "- ";
    }
    EXPECT_EQ(names, "<Shift><Control>v <Control>eacute F5! <Alt>Return <Control>Page_Up - - - ");
    EXPECT_THAT(Accelerator{GDK_KEY_plus}.keys(), ElementsAre(GDK_KEY_plus, GDK_KEY_KP_Add, GDK_KEY_equal));
}
