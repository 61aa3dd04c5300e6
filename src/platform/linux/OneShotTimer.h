#pragma once

#include <glib.h>

#include <chrono>
#include <functional>
#include <utility>

/// Calls a function once, on the main loop, unless it is stopped or destroyed before. The function may do
/// either itself.
class OneShotTimer {
public:
    OneShotTimer() = default;
    OneShotTimer(const OneShotTimer&) = delete;
    OneShotTimer& operator=(const OneShotTimer&) = delete;
    ~OneShotTimer() { stop(); }

    /// Takes the place of an earlier start.
    void start(std::chrono::milliseconds delay, std::function<void()> work) {
        stop();
        work_ = std::move(work);
        source_ = g_timeout_add(static_cast<guint>(delay.count()), fired, this);
    }
    void stop() {
        if (source_ != 0)
            g_source_remove(std::exchange(source_, 0));
        work_ = nullptr;
    }
    bool running() const { return source_ != 0; }

private:
    static gboolean fired(gpointer data) {
        auto* const self = static_cast<OneShotTimer*>(data);
        self->source_ = 0;
        const auto work = std::exchange(self->work_, nullptr);
        work();
        return G_SOURCE_REMOVE;
    }

    guint source_ = 0;
    std::function<void()> work_;
};
