#pragma once

#include "platform/Task.h"

#include <glib.h>

#include <exception>
#include <functional>
#include <memory>
#include <optional>
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

/// What became of a task that has been started.
template <class T>
struct Outcome {
    std::optional<T> value;
    std::exception_ptr failure;

    bool ended() const { return value || failure; }
    /// Throws what the task threw.
    T take() {
        if (failure)
            std::rethrow_exception(failure);
        return std::move(*value);
    }
};

template <class T>
Task<> settle(Task<T> task, std::shared_ptr<Outcome<T>> outcome) {
    try {
        auto value = co_await std::move(task);
        outcome->value.emplace(std::move(value));
    } catch (...) {
        outcome->failure = std::current_exception();
    }
}

inline Task<Done> ending(Task<> task) {
    co_await std::move(task);
    co_return Done();
}

/// Starts the task and goes on at once.
template <class T>
std::shared_ptr<Outcome<T>> start(Task<T> task) {
    auto outcome = std::make_shared<Outcome<T>>();
    spawn(settle(std::move(task), outcome));
    return outcome;
}

template <class T>
T finish(const std::shared_ptr<Outcome<T>>& outcome) {
    runUntil([&] { return outcome->ended(); });
    return outcome->take();
}

/// Runs the task to its end; throws what it throws.
template <class T>
T finish(Task<T> task) {
    return finish(start(std::move(task)));
}

inline void finish(Task<> task) {
    finish(ending(std::move(task)));
}

} // namespace MainLoop
