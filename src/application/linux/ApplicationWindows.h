#pragma once

#include "platform/linux/GPtr.h"

#include <giomm/menu.h>
#include <giomm/simpleaction.h>
#include <gtkmm/application.h>
#include <sigc++/connection.h>

/// All windows of the program, taken together as other desktops take a program's windows.
///
/// Every window becomes one of the application's, so that the keys of the application work in it.
class ApplicationWindows {
public:
    /// The application has to outlive it.
    explicit ApplicationWindows(Gtk::Application& application);
    ~ApplicationWindows();
    ApplicationWindows(const ApplicationWindows&) = delete;
    ApplicationWindows& operator=(const ApplicationWindows&) = delete;

    /// A section of the menus with the title of each window, a mark at the one with the keyboard.
    Glib::RefPtr<Gio::MenuModel> list() const { return list_; }
    /// What choosing one of them activates: it comes to the front. It is to be in the group "menu".
    Glib::RefPtr<Gio::Action> action() const { return action_; }

    /// Minimises every window.
    void hide();
    /// Minimises every window but the one with the keyboard and those that it belongs to.
    void hideOthers();
    /// Takes minimised windows back.
    void showAll();
    /// Whether the desktop lets a program take its windows back, and so whether hiding them one by one makes
    /// sense.
    bool canShowAll() const;
    /// Brings every window that is not closed in front of other programs' windows, and the one that had the
    /// keyboard in front of them all.
    void bringToFront();

private:
    void followSoon();
    void adoptNewWindows();
    void refreshList();

    Gtk::Application& application_;
    Glib::RefPtr<Gio::Menu> list_ = Gio::Menu::create();
    Glib::RefPtr<Gio::SimpleAction> action_;
    SignalConnection changing_;
    SignalConnection activating_;
    sigc::connection following_;
};
