#pragma once

#include "platform/Outcome.h"

#include <glib.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <utility>

/// Runs the main loop by hand, so that a test waits for events and for nothing else.
namespace MainLoop {

/// Far longer than anything here takes; it ends a test that would hang.
inline constexpr guint deadlineSeconds = 30;

/// Runs the loop until `isReached`, which is looked at after every event. Throws std::runtime_error when that
/// does not come.
inline void runUntil(const std::function<bool()>& isReached) {
    bool late = false;
    const auto clock = g_timeout_add_seconds(
        deadlineSeconds,
        [](gpointer flag) -> gboolean {
            *static_cast<bool*>(flag) = true;
            return G_SOURCE_CONTINUE;
        },
        &late);
    while (!isReached() && !late)
        g_main_context_iteration(nullptr, TRUE);
    g_source_remove(clock);
    if (!isReached())
        throw std::runtime_error("what the test waits for did not happen");
}

template <class T>
T finish(const std::shared_ptr<Outcome<T>>& outcome) {
    runUntil([&] { return outcome->ended(); });
    return outcome->take();
}

/// Runs the task to its end; throws what it throws.
template <class T>
T finish(Task<T> task) {
    return finish(begin(std::move(task)));
}

inline void finish(Task<> task) {
    finish(begin(std::move(task)));
}

} // namespace MainLoop
