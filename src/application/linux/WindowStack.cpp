#include "application/linux/WindowStack.h"

#include <algorithm>

std::vector<GPtr<GtkWindow>> WindowStack::all() {
    std::vector<GPtr<GtkWindow>> windows;
    auto* const list = gtk_window_get_toplevels();
    windows.reserve(g_list_model_get_n_items(list));
    for (guint i = 0; i < g_list_model_get_n_items(list); ++i)
        windows.push_back(GPtr<GtkWindow>::take(GTK_WINDOW(g_list_model_get_item(list, i))));
    return windows;
}

Gtk::Window& WindowStack::front(Gtk::Window& window) {
    auto* front = window.gobj();
    const auto windows = all();
    const auto isNext = [&front](const auto& other) {
        return gtk_widget_get_visible(GTK_WIDGET(other.get())) && gtk_window_get_modal(other.get()) &&
               gtk_window_get_transient_for(other.get()) == front;
    };
    for (auto next = windows.begin(); next != windows.end();) {
        next = std::ranges::find_if(windows, isNext);
        if (next != windows.end())
            front = next->get();
    }
    return front == window.gobj() ? window : *Glib::wrap(front);
}

void WindowStack::close(GtkWindow* leaving) {
    auto* const beneath = gtk_window_get_transient_for(leaving);
    for (const auto& window : all())
        if (beneath && gtk_window_get_transient_for(window.get()) == leaving)
            gtk_window_set_transient_for(window.get(), beneath);
}
