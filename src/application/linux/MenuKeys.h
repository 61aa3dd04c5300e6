#pragma once

#include "application/Menus.h"

#include <giomm/liststore.h>
#include <gtkmm/shortcut.h>
#include <gtkmm/window.h>

#include <functional>
#include <string>

/// The key equivalents of the menus, as keys of windows. A key does what its item does, and nothing while
/// that is disabled.
///
/// The keys of the window's commands and of "Lock Now" always win. All others come last: the page or the
/// native field that has the keyboard sees them first, and they act only when it has not taken them. One that
/// could type something comes last in any case. The key of "Quit" is the application's and not among them.
class MenuKeys {
public:
    /// The name of the action that an item activates in the windows that the keys are attached to.
    using ActionName = std::function<std::string(MenuCommand)>;

    explicit MenuKeys(ActionName actionName);

    /// Takes the keys of the menus in place of those that there were.
    void set(const Menus& menus);
    /// Has the window follow the keys from now on.
    void attachTo(Gtk::Window& window);
    /// Has a window that has no menus follow the keys of "Lock Now" and "Reload", which work whatever is in
    /// front. It is the toolkit's own object, because the toolkit makes some of them itself.
    void attachToOther(GtkWindow* window) const;

private:
    ActionName actionName_;
    Glib::RefPtr<Gio::ListStore<Gtk::Shortcut>> first_;
    Glib::RefPtr<Gio::ListStore<Gtk::Shortcut>> last_;
    Glib::RefPtr<Gio::ListStore<Gtk::Shortcut>> everywhere_; ///< some of both
};
