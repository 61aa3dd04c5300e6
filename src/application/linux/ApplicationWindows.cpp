#include "application/linux/ApplicationWindows.h"

#include "application/linux/WindowStack.h"

#include <glibmm/main.h>
#include <gtkmm/window.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using Windows = std::vector<GPtr<GtkWindow>>;

constexpr auto actionName = "window";

/// In the menu's targets, where nobody takes it for a window before finding it among those that exist.
guint64 numberOf(const GtkWindow* window) {
    return reinterpret_cast<std::uintptr_t>(window);
}

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

ApplicationWindows::ApplicationWindows(Gtk::Application& application)
    : application_(application),
      action_(Gio::SimpleAction::create(actionName, Glib::VARIANT_TYPE_UINT64,
                                        Glib::Variant<guint64>::create(0))) {
    action_->signal_activate().connect([](const Glib::VariantBase& chosen) {
        const auto number = Glib::VariantBase::cast_dynamic<Glib::Variant<guint64>>(chosen).get();
        for (const auto& window : openWindows())
            if (numberOf(window.get()) == number)
                gtk_window_present(window.get());
    });
    const auto changed =
        +[](GListModel*, guint, guint, guint, ApplicationWindows* self) { self->followSoon(); };
    auto* const toplevels = gtk_window_get_toplevels();
    changing_ =
        SignalConnection(toplevels, g_signal_connect(toplevels, "items-changed", G_CALLBACK(changed), this));
    const auto activated =
        +[](GtkApplication*, GParamSpec*, ApplicationWindows* self) { self->followSoon(); };
    auto* const object = application.gobj();
    activating_ = SignalConnection(
        object, g_signal_connect(object, "notify::active-window", G_CALLBACK(activated), this));
    refreshList();
    followSoon();
}

ApplicationWindows::~ApplicationWindows() {
    following_.disconnect();
}

void ApplicationWindows::followSoon() {
    // A window is announced while it is still being made.
    if (following_)
        return;
    following_ = Glib::signal_idle().connect([this] {
        adoptNewWindows();
        refreshList();
        return false;
    });
}

void ApplicationWindows::adoptNewWindows() {
    for (const auto& window : WindowStack::all())
        if (!gtk_window_get_application(window.get()))
            gtk_window_set_application(window.get(), application_.gobj());
}

void ApplicationWindows::refreshList() {
    list_->remove_all();
    for (const auto& window : openWindows()) {
        const auto* const title = gtk_window_get_title(window.get());
        const auto item = Gio::MenuItem::create(title ? title : "", "");
        item->set_action_and_target(std::string("menu.") + actionName,
                                    Glib::Variant<guint64>::create(numberOf(window.get())));
        list_->append_item(item);
    }
    action_->set_state(Glib::Variant<guint64>::create(numberOf(activeWindow(application_))));
}

bool ApplicationWindows::canShowAll() const {
    return G_OBJECT_TYPE_NAME(gdk_display_get_default()) == std::string("GdkX11Display");
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
