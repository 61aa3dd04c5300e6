#pragma once

#include "application/MenuTarget.h"
#include "application/linux/ApplicationWindows.h"
#include "application/linux/EditTarget.h"
#include "application/linux/LateKeys.h"
#include "application/linux/MainWindow.h"
#include "application/linux/MenuKeys.h"
#include "platform/linux/GPtr.h"

#include <giomm/menu.h>
#include <giomm/simpleaction.h>
#include <giomm/simpleactiongroup.h>
#include <gtkmm/popovermenubar.h>

#include <string>
#include <vector>

/// The menu bar in the main window's header: a mirror of the menus, with their titles, the labels of their
/// keys and what can be chosen now, and the keys themselves in the main window and its sheets; those of
/// "Lock Now" and "Reload" in every other window too.
///
/// It hands the delegate's commands to the delegate and carries out those of the responder chain: editing
/// where the keyboard is, the rest with the window or the program as a whole.
class MenuBar {
public:
    /// All of them outlive it.
    MenuBar(MenuTarget& target, MainWindow& window, Gtk::Application& application);
    ~MenuBar();
    MenuBar(const MenuBar&) = delete;
    MenuBar& operator=(const MenuBar&) = delete;

    /// Opens the menu of that number from the left, beginning with 0, as a click on its title does.
    void openMenu(std::size_t menu);
    /// Closes the menu that is open.
    void closeMenus();

private:
    /// How an item is shown.
    struct Look {
        std::string title;
        std::string accelerator; ///< empty for none

        bool operator==(const Look&) const = default;
    };
    /// Where it is shown, and what choosing it activates.
    struct Line {
        const MenuItem* item;
        Glib::RefPtr<Gio::Menu> section;
        int index;
        Glib::RefPtr<Gio::SimpleAction> action;
        Look look;
    };

    void build();
    Line makeLine(const MenuItem& item, const Glib::RefPtr<Gio::Menu>& section);
    void addQuitKey();
    void watchMenus();
    /// Gives the keyboard back to where it was before the menus had it, unless one of them is open by then.
    void leaveSoon();
    void watchWindow();
    void followWindows();
    void refresh();
    void refreshWindowItems();
    void draw(Line& line);
    Look lookOf(const MenuItem& item) const;
    bool isEnabled(const MenuItem& item) const;
    void sheetChanged();
    void choose(const MenuItem& item);
    void performInWindow(MenuCommand command);

    MenuTarget& target_;
    MainWindow& main_;
    Gtk::ApplicationWindow& window_;
    Gtk::Application& application_;
    Glib::RefPtr<Gio::Menu> model_;
    Glib::RefPtr<Gio::SimpleActionGroup> actions_;
    std::vector<Line> lines_;
    Gtk::PopoverMenuBar bar_;
    ApplicationWindows windows_;
    EditTarget edit_;
    MenuKeys keys_;
    LateKeys late_;
    std::vector<SignalConnection> menus_; ///< to the window and the menus' popovers
    SignalConnection sheet_;              ///< to the sheet
    SignalConnection list_;               ///< to that of the program's windows
    sigc::connection closing_;
    std::vector<sigc::connection> states_; ///< to the window's
};
