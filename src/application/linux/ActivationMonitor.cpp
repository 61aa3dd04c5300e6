#include "application/linux/ActivationMonitor.h"

#include "application/linux/KeyboardGrab.h"
#include "application/linux/WindowStack.h"

#include <algorithm>
#include <utility>

namespace {

/// A window loses the keyboard before the next one gets it.
constexpr std::chrono::milliseconds handOver(50);
/// A key is down for less. Longer grabs are those of screen lockers.
constexpr std::chrono::milliseconds longestGrab(2000);

} // namespace

ActivationMonitor::ActivationMonitor(GtkWindow* main) : main_(main) {
    const auto closed = +[](GtkWindow*, GParamSpec*, ActivationMonitor* self) { self->settle(); };
    closing_ = SignalConnection(main, g_signal_connect(main, "notify::visible", G_CALLBACK(closed), this));
    auto* const windows = gtk_window_get_toplevels();
    const auto changed =
        +[](GListModel*, guint, guint, guint, ActivationMonitor* self) { self->watchWindows(); };
    list_ = SignalConnection(windows, g_signal_connect(windows, "items-changed", G_CALLBACK(changed), this));
    watchWindows();
}

void ActivationMonitor::watchWindows() {
    windows_.clear();
    const auto changed = +[](GtkWindow*, GParamSpec*, ActivationMonitor* self) { self->windowChanged(); };
    for (const auto& window : WindowStack::all())
        windows_.emplace_back(window.get(),
                              g_signal_connect(window.get(), "notify::is-active", G_CALLBACK(changed), this));
    windowChanged();
}

bool ActivationMonitor::hasKeyboard() const {
    return gtk_widget_get_visible(GTK_WIDGET(main_)) &&
           std::ranges::any_of(WindowStack::all(),
                               [](const auto& window) { return gtk_window_is_active(window.get()); });
}

void ActivationMonitor::windowChanged() {
    if (hasKeyboard())
        settle();
    else if (active_)
        settling_.start(handOver, [this] { settle(); });
}

void ActivationMonitor::settle() {
    settling_.stop();
    const auto now = hasKeyboard();
    const auto waited = std::exchange(waits_, 0);
    if (now == active_)
        return;
    if (!now && waited * handOver < longestGrab && gtk_widget_get_visible(GTK_WIDGET(main_)) &&
        KeyboardGrab::isElsewhere()) {
        waits_ = waited + 1;
        settling_.start(handOver, [this] { settle(); });
        return;
    }
    active_ = now;
    const auto& tell = now ? onActivated : onDeactivated;
    if (tell)
        tell();
}
