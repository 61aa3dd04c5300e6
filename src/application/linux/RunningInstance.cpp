#include "application/linux/RunningInstance.h"

#include "platform/linux/GPtr.h"

#include <gio/gio.h>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int milliseconds = 2000;

bool isThere(GDBusConnection* bus, const std::string& applicationId) {
    const GVariantPtr reply(g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
        g_variant_new("(s)", applicationId.c_str()), G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE,
        milliseconds, nullptr, nullptr));
    gboolean owned = FALSE;
    if (reply)
        g_variant_get(reply.get(), "(b)", &owned);
    return owned;
}

/// D-Bus takes no other texts.
GVariant* text(const std::string& bytes) {
    return g_variant_new_take_string(g_utf8_make_valid(bytes.data(), static_cast<gssize>(bytes.size())));
}

GVariant* platformData() {
    GVariantBuilder data;
    g_variant_builder_init(&data, G_VARIANT_TYPE_VARDICT);
    for (const auto& [variable, key] : {std::pair("XDG_ACTIVATION_TOKEN", "activation-token"),
                                        std::pair("DESKTOP_STARTUP_ID", "desktop-startup-id")})
        if (const char* const value = std::getenv(variable))
            g_variant_builder_add(&data, "{sv}", key, text(value));
    return g_variant_builder_end(&data);
}

GVariant* listOf(const std::vector<std::string>& urls) {
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE_STRING_ARRAY);
    for (const auto& url : urls)
        g_variant_builder_add_value(&list, text(url));
    return g_variant_builder_end(&list);
}

/// Where an application of that id is on the bus.
std::string pathOf(std::string applicationId) {
    std::replace(applicationId.begin(), applicationId.end(), '.', '/');
    std::replace(applicationId.begin(), applicationId.end(), '-', '_');
    return "/" + applicationId;
}

} // namespace

bool RunningInstance::open(const std::string& applicationId, const std::vector<std::string>& urls) {
    const auto bus = GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    if (!bus || !isThere(bus.get(), applicationId))
        return false;
    auto* const parameters = urls.empty() ? g_variant_new("(@a{sv})", platformData())
                                          : g_variant_new("(@as@a{sv})", listOf(urls), platformData());
    // Nobody waits for the answer of a program that may be busy.
    g_dbus_connection_call(bus.get(), applicationId.c_str(), pathOf(applicationId).c_str(),
                           "org.freedesktop.Application", urls.empty() ? "Activate" : "Open", parameters,
                           nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
    return g_dbus_connection_flush_sync(bus.get(), nullptr, nullptr);
}
