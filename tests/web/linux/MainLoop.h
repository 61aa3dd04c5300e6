#pragma once

#include "platform/Task.h"

#include <glib.h>

#include <chrono>
#include <functional>
#include <optional>
#include <stdexcept>

/// The main loop of a test: turned until what the test waits for has come true.
namespace MainLoop {

/// No step of a test takes longer, even with sanitizers on a busy machine.
inline constexpr std::chrono::seconds limit = std::chrono::seconds(60);

/// Turns the loop until `condition` holds. Throws when that takes too long.
inline void runUntil(const std::function<bool()>& condition) {
    bool late = false;
    const auto expire = [](gpointer flag) -> gboolean {
        *static_cast<bool*>(flag) = true;
        return G_SOURCE_CONTINUE;
    };
    const auto timeout = g_timeout_add_seconds(limit.count(), expire, &late);
    while (!condition() && !late)
        g_main_context_iteration(nullptr, TRUE);
    g_source_remove(timeout);
    if (late)
        throw std::runtime_error("waited too long");
}

namespace detail {

template <class T>
Task<> keep(Task<T> task, std::optional<T>* result) {
    *result = co_await std::move(task);
}

inline Task<> note(Task<> task, bool* ended) {
    co_await std::move(task);
    *ended = true;
}

} // namespace detail

/// Runs the task to its end.
template <class T>
T await(Task<T> task) {
    std::optional<T> result;
    spawn(detail::keep(std::move(task), &result));
    runUntil([&] { return result.has_value(); });
    return std::move(*result);
}

inline void await(Task<> task) {
    bool ended = false;
    spawn(detail::note(std::move(task), &ended));
    runUntil([&] { return ended; });
}

} // namespace MainLoop
