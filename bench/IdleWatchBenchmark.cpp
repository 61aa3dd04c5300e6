#include "bench/Median.h"
#include "linux/MainLoop.h"
#include "lock/linux/GtkEventMonitor.h"
#include "platform/linux/GPtr.h"
#include "platform/linux/SystemClock.h"

#include <X11/Xlib.h>
#include <gdk/x11/gdkx.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace {

constexpr int movesPerSecond = 1000; // what the fastest mice report
constexpr int rounds = 101;
constexpr double limit = 0.1; // ms of processor time a second

struct UnrefEvent {
    void operator()(GdkEvent* event) const { gdk_event_unref(event); }
};
using EventPtr = std::unique_ptr<GdkEvent, UnrefEvent>;

/// A window of the toolkit's lower half, where the idle watch listens. Whoever else does has next to nothing
/// to do, so that the watch's share of the time stands out.
class BareWindow {
public:
    BareWindow()
        : surface_(GPtr<GdkSurface>::take(gdk_surface_new_toplevel(gdk_display_get_default()))),
          signal_(g_signal_lookup("event", GDK_TYPE_SURFACE)) {
        g_signal_connect(surface_.get(), "event", G_CALLBACK(delivered), this);
        g_signal_connect(surface_.get(), "compute-size",
                         G_CALLBACK(+[](GdkToplevel*, GdkToplevelSize* size, gpointer) {
                             gdk_toplevel_size_set_size(size, side, side);
                         }),
                         nullptr);
        auto* const layout = gdk_toplevel_layout_new();
        gdk_toplevel_present(GDK_TOPLEVEL(surface_.get()), layout);
        gdk_toplevel_layout_unref(layout);
    }
    BareWindow(const BareWindow&) = delete;
    BareWindow& operator=(const BareWindow&) = delete;
    ~BareWindow() { gdk_surface_destroy(surface_.get()); }

    /// What the display server tells of a pointer that moves: events at two places.
    const std::vector<EventPtr>& takeMoves() {
        auto* const display = XOpenDisplay(nullptr);
        auto x = 0;
        const auto move = [&] {
            x = x == left ? left + step : left;
            XWarpPointer(display, None, gdk_x11_surface_get_xid(surface_.get()), 0, 0, 0, 0, x, left);
            XFlush(display);
        };
        MainLoop::runUntil([this] { return gdk_surface_get_mapped(surface_.get()) != FALSE; });
        move();
        // The first one is that the pointer enters.
        MainLoop::runUntil([&] {
            if (moves_.size() < 2)
                move();
            return moves_.size() >= 2;
        });
        XCloseDisplay(display);
        return moves_;
    }

    /// The time that the moves of a second take to be told, in ms.
    double second(const std::vector<EventPtr>& moves) {
        const auto start = std::chrono::steady_clock::now();
        for (auto i = 0; i < movesPerSecond; ++i) {
            gboolean handled = FALSE;
            g_signal_emit(surface_.get(), signal_, 0, moves[static_cast<std::size_t>(i) % 2].get(), &handled);
        }
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    }

private:
    static constexpr int left = 60;
    static constexpr int step = 20;
    static constexpr int side = 200;

    static gboolean delivered(GdkSurface*, GdkEvent* event, gpointer window) {
        auto& moves = static_cast<BareWindow*>(window)->moves_;
        if (moves.size() < 2 && gdk_event_get_event_type(event) == GDK_MOTION_NOTIFY)
            moves.emplace_back(gdk_event_ref(event));
        return TRUE;
    }

    GPtr<GdkSurface> surface_;
    guint signal_;
    std::vector<EventPtr> moves_;
};

void run() {
    BareWindow window;
    const auto& moves = window.takeMoves();
    const SystemClock clock;
    // As the program does it.
    const auto lastUse = std::make_shared<Clock::time_point>();
    std::vector<double> bare;
    std::vector<double> watched;
    for (auto round = 0; round < rounds; ++round) {
        bare.push_back(window.second(moves));
        GtkEventMonitor monitor;
        const auto watch = monitor.observeInput([&clock, weak = std::weak_ptr(lastUse)] {
            if (const auto use = weak.lock())
                *use = clock.now();
        });
        watched.push_back(window.second(moves));
    }
    if (*lastUse == Clock::time_point())
        throw std::runtime_error("the watch has seen nothing");
    std::printf("  %d moves a second %13.3f ms/s (at most %.1f)\n", movesPerSecond,
                median(watched) - median(bare), limit);
}

} // namespace

/// Tells what the idle watch costs while the mouse moves.
int main() {
    gtk_init();
    try {
        run();
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "idle-watch-benchmark: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
