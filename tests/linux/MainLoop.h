#pragma once

#include "platform/Outcome.h"

#include <glib.h>

#include <functional>
#include <memory>
#include <source_location>
#include <stdexcept>
#include <string>
#include <utility>

/// Runs the main loop by hand, so that a test waits for events and for nothing else.
namespace MainLoop {

/// Far longer than anything here takes; it ends a test that would hang.
inline constexpr guint deadlineSeconds = 30;

/// Runs the loop until `isReached`, which is looked at after every event. Throws std::runtime_error when that
/// does not come: it says where the test waits, and what `seen` sees instead.
inline void runUntil(const std::function<bool()>& isReached, const std::function<std::string()>& seen = {},
                     const std::source_location& where = std::source_location::current()) {
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
        throw std::runtime_error("waited in vain at " + std::string(where.file_name()) + ":" +
                                 std::to_string(where.line()) + (seen ? ", seen: " + seen() : ""));
}

/// As `runUntil`, for what tells nobody: a file, another process.
inline void poll(const std::function<bool()>& isReached, const std::function<std::string()>& seen = {},
                 const std::source_location& where = std::source_location::current()) {
    const auto waking = g_timeout_add(2, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    runUntil(isReached, seen, where);
    g_source_remove(waking);
}

template <class T>
T finish(const std::shared_ptr<Outcome<T>>& outcome,
         const std::source_location& where = std::source_location::current()) {
    runUntil([&] { return outcome->ended(); }, {}, where);
    return outcome->take();
}

/// Runs the task to its end; throws what it throws.
template <class T>
T finish(Task<T> task, const std::source_location& where = std::source_location::current()) {
    return finish(begin(std::move(task)), where);
}

inline void finish(Task<> task, const std::source_location& where = std::source_location::current()) {
    finish(begin(std::move(task)), where);
}

} // namespace MainLoop
