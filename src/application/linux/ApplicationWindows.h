#pragma once

#include "platform/linux/GPtr.h"

#include <gtkmm/application.h>
#include <sigc++/connection.h>

/// All windows of the program, taken together as other desktops take a program's windows.
///
/// Every window becomes one of the application's, so that the keys of the application work in it.
class ApplicationWindows {
public:
    /// The application has to outlive it.
    explicit ApplicationWindows(Gtk::Application& application);
    ~ApplicationWindows() { adopting_.disconnect(); }
    ApplicationWindows(const ApplicationWindows&) = delete;
    ApplicationWindows& operator=(const ApplicationWindows&) = delete;

    /// Minimises every window.
    void hide();
    /// Minimises every window but the one with the keyboard and those that it belongs to.
    void hideOthers();
    /// Takes minimised windows back.
    void showAll();
    /// Brings every window that is not closed in front of other programs' windows, and the one that had the
    /// keyboard in front of them all.
    void bringToFront();

private:
    void adoptNewWindows();

    Gtk::Application& application_;
    SignalConnection appearing_;
    sigc::connection adopting_;
};
