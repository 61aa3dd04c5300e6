#include "lock/linux/GtkEventMonitor.h"

namespace {

/// The signals of a class are there once the class is.
guint signalOf(GType type, const char* name) {
    g_type_class_unref(g_type_class_ref(type));
    return g_signal_lookup(name, type);
}

} // namespace

GtkEventMonitor::GtkEventMonitor()
    : eventSignal_(signalOf(GDK_TYPE_SURFACE, "event")),
      commitSignal_(signalOf(GTK_TYPE_IM_CONTEXT, "commit")),
      eventHook_(g_signal_add_emission_hook(eventSignal_, 0, delivered, this, nullptr)),
      commitHook_(g_signal_add_emission_hook(commitSignal_, 0, typed, this, nullptr)) {}

GtkEventMonitor::~GtkEventMonitor() {
    g_signal_remove_emission_hook(eventSignal_, eventHook_);
    g_signal_remove_emission_hook(commitSignal_, commitHook_);
}

std::shared_ptr<void> GtkEventMonitor::observeInput(std::function<void()> used) {
    auto observer = std::make_shared<std::function<void()>>(std::move(used));
    std::erase_if(observers_, [](const auto& entry) { return entry.expired(); });
    observers_.push_back(observer);
    return observer;
}

gboolean GtkEventMonitor::delivered(GSignalInvocationHint*, guint, const GValue* values, gpointer self) {
    auto& monitor = *static_cast<GtkEventMonitor*>(self);
    if (monitor.isUse(*static_cast<GdkEvent*>(g_value_peek_pointer(&values[1]))))
        monitor.tell();
    constexpr gboolean goOn = TRUE;
    return goOn;
}

gboolean GtkEventMonitor::typed(GSignalInvocationHint*, guint, const GValue*, gpointer self) {
    static_cast<GtkEventMonitor*>(self)->tell();
    constexpr gboolean goOn = TRUE;
    return goOn;
}

bool GtkEventMonitor::isUse(GdkEvent& event) {
    switch (gdk_event_get_event_type(&event)) {
    case GDK_MOTION_NOTIFY: {
        Place place{gdk_event_get_surface(&event)};
        gdk_event_get_position(&event, &place.x, &place.y);
        const auto rests = place == pointer_;
        pointer_ = place;
        return !rests;
    }
    case GDK_KEY_PRESS:
    case GDK_KEY_RELEASE:
    case GDK_BUTTON_PRESS:
    case GDK_BUTTON_RELEASE:
    case GDK_SCROLL:
    case GDK_TOUCH_BEGIN:
    case GDK_TOUCH_UPDATE:
    case GDK_TOUCH_END:
    case GDK_TOUCHPAD_SWIPE:
    case GDK_TOUCHPAD_PINCH:
    case GDK_TOUCHPAD_HOLD:
    case GDK_PROXIMITY_IN:
    case GDK_PAD_BUTTON_PRESS:
    case GDK_PAD_BUTTON_RELEASE:
    case GDK_PAD_RING:
    case GDK_PAD_STRIP:
    case GDK_PAD_GROUP_MODE:
    case GDK_DROP_START:
        return true;
    default:
        return false;
    }
}

void GtkEventMonitor::tell() const {
    // An observer may begin or end another's time. This runs with every move of the mouse, so nothing is
    // copied.
    for (std::size_t i = 0; i < observers_.size(); ++i)
        if (const auto observer = observers_[i].lock())
            (*observer)();
}
