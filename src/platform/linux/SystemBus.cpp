#include "platform/linux/SystemBus.h"

#include "platform/linux/GAsync.h"
#include "platform/linux/OneShotTimer.h"

namespace {

constexpr std::chrono::seconds patience{5};

} // namespace

Task<GPtr<GDBusConnection>> SystemBus::connection() {
    const GText address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    if (isOpen() || !address)
        co_return connection_;
    const auto cancellable = GPtr<GCancellable>::take(g_cancellable_new());
    OneShotTimer clock;
    clock.start(patience, [cancellable] { g_cancellable_cancel(cancellable.get()); });
    GAsync connecting;
    // The shared connection that GLib offers would end the program when the bus is restarted.
    g_dbus_connection_new_for_address(
        address.get(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, cancellable.get(), GAsync::ready, &connecting);
    const auto result = co_await connecting;
    auto made = GPtr<GDBusConnection>::take(g_dbus_connection_new_for_address_finish(result.get(), nullptr));
    // Two may have been waiting; the first connection serves both.
    if (!isOpen())
        connection_ = made;
    co_return connection_;
}
