#include "platform/linux/SessionBus.h"

#include "platform/linux/GPtr.h"

namespace {

/// The application's own connection, which is there already.
GPtr<GDBusConnection> connection() {
    return GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
}

} // namespace

void SessionBus::broadcast(const char* path, const char* interface, const char* member,
                           GVariant* parameters) {
    const GVariantPtr owner(g_variant_ref_sink(parameters));
    if (const auto bus = connection())
        g_dbus_connection_emit_signal(bus.get(), nullptr, path, interface, member, parameters, nullptr);
}

void SessionBus::flush() {
    if (const auto bus = connection())
        g_dbus_connection_flush_sync(bus.get(), nullptr, nullptr);
}
