#pragma once

#include "platform/Task.h"
#include "platform/linux/GPtr.h"

#include <gio/gio.h>
#include <gio/gunixfdlist.h>

#include <chrono>
#include <functional>
#include <optional>

/// What the program asks of others on a message bus, and what it hears from them.
namespace DBus {

struct Method {
    const char* destination;
    const char* path;
    const char* interface;
    const char* name;
    /// G_DBUS_CALL_FLAGS_NO_AUTO_START keeps the bus from starting the service.
    GDBusCallFlags flags = G_DBUS_CALL_FLAGS_NONE;
};

/// One of `value` and `error` is there.
struct Reply {
    GVariantPtr value;       ///< the tuple of results
    GPtr<GUnixFDList> files; ///< what the handles in it stand for; null when there are none
    GErrorPtr error;
};

/// Calls a method of a service that runs, or that the bus starts. Without `patience` it waits for as long as
/// the other side stays on the bus. `parameters` is a tuple, null for none.
Task<Reply> call(GPtr<GDBusConnection> bus, Method method, GVariantPtr parameters,
                 std::optional<std::chrono::milliseconds> patience, GPtr<GCancellable> cancellable = {});

/// Takes over a value that nobody owns yet, as GLib's constructors make them.
inline GVariantPtr own(GVariant* floating) {
    return GVariantPtr(g_variant_ref_sink(floating));
}

/// A subscription to a broadcast signal, until it is destroyed.
class Signal {
public:
    /// Anything that is null counts as any.
    struct Match {
        const char* sender = nullptr;
        const char* path = nullptr;
        const char* interface = nullptr;
        const char* member = nullptr;
    };
    using Heard = std::function<void(const char* path, GVariant* arguments)>;

    Signal(GPtr<GDBusConnection> bus, const Match& match, Heard heard);
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    ~Signal();

private:
    GPtr<GDBusConnection> bus_;
    guint subscription_;
};

} // namespace DBus
