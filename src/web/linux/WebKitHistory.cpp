#include "web/linux/WebKitHistory.h"

#include <webkit/webkit.h>

namespace {

using Step = void (*)(WebKitWebView*);

/// What leads one step back, or one step forward.
struct Way {
    Step step;
    guint key;
    guint button; ///< the thumb's, as X11 numbers it and the toolkit everywhere
};

constexpr Way back = {webkit_web_view_go_back, GDK_KEY_Back, 8};
constexpr Way forward = {webkit_web_view_go_forward, GDK_KEY_Forward, 9};

void go(GtkWidget* container, const Way& way) {
    if (auto* const view = gtk_overlay_get_child(GTK_OVERLAY(container)))
        way.step(WEBKIT_WEB_VIEW(view));
}

template <const Way& way>
void listenFor(GtkWidget* container) {
    auto* const shortcuts = gtk_shortcut_controller_new();
    const auto pressed = [](GtkWidget* widget, GVariant*, gpointer) -> gboolean {
        go(widget, way);
        return TRUE;
    };
    gtk_shortcut_controller_add_shortcut(
        GTK_SHORTCUT_CONTROLLER(shortcuts),
        gtk_shortcut_new(gtk_keyval_trigger_new(way.key, GdkModifierType()),
                         gtk_callback_action_new(pressed, nullptr, nullptr)));
    gtk_widget_add_controller(container, shortcuts);

    auto* const click = gtk_gesture_click_new();
    gtk_gesture_single_set_button(GTK_GESTURE_SINGLE(click), way.button);
    // The engine takes every click for itself and does nothing with this one.
    gtk_event_controller_set_propagation_phase(GTK_EVENT_CONTROLLER(click), GTK_PHASE_CAPTURE);
    g_signal_connect(click, "pressed",
                     G_CALLBACK(+[](GtkGestureClick* gesture, int, double, double, gpointer) {
                         go(gtk_event_controller_get_widget(GTK_EVENT_CONTROLLER(gesture)), way);
                     }),
                     nullptr);
    gtk_widget_add_controller(container, GTK_EVENT_CONTROLLER(click));
}

} // namespace

void WebKitHistory::listen(GtkOverlay* container) {
    listenFor<back>(GTK_WIDGET(container));
    listenFor<forward>(GTK_WIDGET(container));
}
