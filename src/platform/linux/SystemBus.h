#pragma once

#include "platform/Task.h"
#include "platform/linux/GPtr.h"

#include <gio/gio.h>

/// The program's own connection to the system bus, made at the first use and anew when it has been cut. The
/// program goes on without one.
class SystemBus {
public:
    SystemBus() = default;
    SystemBus(const SystemBus&) = delete;
    SystemBus& operator=(const SystemBus&) = delete;

    /// Null when there is no bus, or none that answers soon. The bus has to outlive the wait.
    Task<GPtr<GDBusConnection>> connection();

private:
    bool isOpen() const { return connection_ && !g_dbus_connection_is_closed(connection_.get()); }

    GPtr<GDBusConnection> connection_;
};
