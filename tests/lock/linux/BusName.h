#pragma once

#include "linux/MainLoop.h"

#include <gio/gio.h>

#include <optional>

enum class Presence { absent, present };

/// Returns once the name has an owner on the bus, or none any more.
inline void waitForName(GBusType bus, const char* name, Presence awaited) {
    std::optional<Presence> seen;
    const auto appeared = [](GDBusConnection*, const char*, const char*, gpointer data) {
        *static_cast<std::optional<Presence>*>(data) = Presence::present;
    };
    const auto vanished = [](GDBusConnection*, const char*, gpointer data) {
        *static_cast<std::optional<Presence>*>(data) = Presence::absent;
    };
    const auto watch =
        g_bus_watch_name(bus, name, G_BUS_NAME_WATCHER_FLAGS_NONE, appeared, vanished, &seen, nullptr);
    MainLoop::runUntil([&] { return seen == awaited; }, [&] { return std::string(name); });
    g_bus_unwatch_name(watch);
}
