#include "application/linux/LateKeys.h"

#include "application/linux/MainWindow.h"

#include <algorithm>

namespace {

/// More than a person types while a page hangs.
constexpr std::size_t most = 256;

} // namespace

SignalConnection LateKeys::guard(GtkWidget* widget) {
    auto* const controller = gtk_event_controller_legacy_new();
    gtk_event_controller_set_propagation_phase(controller, GTK_PHASE_CAPTURE);
    const auto event = +[](GtkEventControllerLegacy*, GdkEvent* given, gpointer self) -> gboolean {
        return static_cast<LateKeys*>(self)->isLate(given);
    };
    gtk_widget_add_controller(widget, controller);
    return {controller, g_signal_connect(controller, "event", G_CALLBACK(event), this)};
}

bool LateKeys::isLate(GdkEvent* event) {
    const auto type = gdk_event_get_event_type(event);
    if (type != GDK_KEY_PRESS && type != GDK_KEY_RELEASE)
        return false;
    const Key key{gdk_event_get_time(event), gdk_key_event_get_keycode(event), type};
    const auto found = std::find(given_.begin(), given_.end(), key);
    if (found != given_.end()) {
        given_.erase(found);
        return !pageHasKeyboard();
    }
    if (pageHasKeyboard()) {
        given_.push_back(key);
        if (given_.size() > most)
            given_.pop_front();
    }
    return false;
}

bool LateKeys::pageHasKeyboard() const {
    return !main_.hasVisibleSheet() &&
           main_.pageAround(gtk_window_get_focus(GTK_WINDOW(main_.window().gobj())));
}
