#include "application/linux/ApplicationWindows.h"

#include "application/linux/WindowStack.h"

#include <glibmm/main.h>
#include <gtkmm/window.h>

#include <vector>

namespace {

using Windows = std::vector<GPtr<GtkWindow>>;

/// The windows that are not closed and stand by themselves: what belongs to another window follows it.
Windows openWindows() {
    auto result = WindowStack::all();
    std::erase_if(result, [](const auto& window) {
        return !gtk_widget_get_visible(GTK_WIDGET(window.get())) ||
               gtk_window_get_transient_for(window.get());
    });
    return result;
}

/// The window by itself that the one with the keyboard is or belongs to.
GtkWindow* activeWindow(Gtk::Application& application) {
    auto* window = gtk_application_get_active_window(application.gobj());
    while (window && gtk_window_get_transient_for(window))
        window = gtk_window_get_transient_for(window);
    return window;
}

} // namespace

ApplicationWindows::ApplicationWindows(Gtk::Application& application) : application_(application) {
    auto* const toplevels = gtk_window_get_toplevels();
    const auto changed = +[](GListModel*, guint, guint, guint added, gpointer self) {
        if (added > 0)
            static_cast<ApplicationWindows*>(self)->adoptNewWindows();
    };
    appearing_ =
        SignalConnection(toplevels, g_signal_connect(toplevels, "items-changed", G_CALLBACK(changed), this));
    adoptNewWindows();
}

void ApplicationWindows::adoptNewWindows() {
    // A window is announced while it is still being made.
    if (adopting_)
        return;
    adopting_ = Glib::signal_idle().connect([this] {
        for (const auto& window : WindowStack::all())
            if (!gtk_window_get_application(window.get()))
                gtk_window_set_application(window.get(), application_.gobj());
        return false;
    });
}

void ApplicationWindows::hide() {
    for (const auto& window : openWindows())
        gtk_window_minimize(window.get());
}

void ApplicationWindows::hideOthers() {
    const auto* const active = activeWindow(application_);
    for (const auto& window : openWindows())
        if (window.get() != active)
            gtk_window_minimize(window.get());
}

void ApplicationWindows::showAll() {
    for (const auto& window : openWindows())
        gtk_window_unminimize(window.get());
}

void ApplicationWindows::bringToFront() {
    auto* const active = activeWindow(application_);
    for (const auto& window : openWindows())
        if (window.get() != active)
            gtk_window_present(window.get());
    if (active)
        gtk_window_present(active);
}
