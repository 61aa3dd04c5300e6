#pragma once

#include "platform/Task.h"
#include "platform/linux/GPtr.h"

#include <gio/gio.h>

/// Awaits one asynchronous operation of GLib. It is a named local of the coroutine that starts the operation,
/// and the operation always ends, so the coroutine's frame outlives it:
///
///     GAsync sending;
///     soup_session_send_async(session, message, priority, cancellable, GAsync::ready, &sending);
///     const auto result = co_await sending;
///     soup_session_send_finish(session, result.get(), &error);
class GAsync {
public:
    GAsync() = default;

    /// A GAsyncReadyCallback whose user data is the GAsync.
    static void ready(GObject*, GAsyncResult* result, gpointer self) {
        static_cast<GAsync*>(self)->completion_.resolve(GPtr<GAsyncResult>::share(result));
    }
    auto operator co_await() { return completion_.operator co_await(); }

private:
    Completion<GPtr<GAsyncResult>> completion_;
};
