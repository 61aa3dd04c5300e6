#include "application/linux/RunningInstance.h"

#include "platform/Error.h"
#include "platform/linux/GPtr.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>

namespace {

constexpr int milliseconds = 2000;
constexpr const char* serviceAction = "service";

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
    const char* token = std::getenv("XDG_ACTIVATION_TOKEN");
    if (!token)
        token = std::getenv("DESKTOP_STARTUP_ID");
    // The toolkit of the running program reads the second, whatever its display is.
    if (token)
        for (const auto* const key : {"activation-token", "desktop-startup-id"})
            g_variant_builder_add(&data, "{sv}", key, text(token));
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

/// The one that the running program uses; none when it does not say.
std::optional<RunningInstance::Service> serviceOf(GDBusConnection* bus, const std::string& applicationId) {
    const GVariantPtr reply(g_dbus_connection_call_sync(
        bus, applicationId.c_str(), pathOf(applicationId).c_str(), "org.gtk.Actions", "Describe",
        g_variant_new("(s)", serviceAction), G_VARIANT_TYPE("((bgav))"), G_DBUS_CALL_FLAGS_NO_AUTO_START,
        milliseconds, nullptr, nullptr));
    if (!reply)
        return std::nullopt;
    GVariantIter* states = nullptr;
    g_variant_get(reply.get(), "((bgav))", nullptr, nullptr, &states);
    const std::unique_ptr<GVariantIter, void (*)(GVariantIter*)> owner(states, g_variant_iter_free);
    GVariant* state = nullptr;
    if (!g_variant_iter_next(states, "v", &state))
        return std::nullopt;
    const GVariantPtr kept(state);
    if (!g_variant_is_of_type(state, G_VARIANT_TYPE("(ss)")))
        return std::nullopt;
    const char* origin = nullptr;
    const char* certificate = nullptr;
    g_variant_get(state, "(&s&s)", &origin, &certificate);
    return RunningInstance::Service{origin, certificate};
}

void demandService(GDBusConnection* bus, const std::string& applicationId,
                   const RunningInstance::Service& asked) {
    if (asked == RunningInstance::Service())
        return;
    const auto used = serviceOf(bus, applicationId);
    const auto fits = [](const std::string& wanted, const std::string& found) {
        return wanted.empty() || wanted == found;
    };
    if (!used)
        throw Error("brisko runs in this profile already and does not say with which service. Quit it first, "
                    "or start another one with --profile.");
    if (!fits(asked.origin, used->origin) || !fits(asked.certificate, used->certificate))
        throw Error("brisko runs in this profile already, with " + used->origin +
                    (used->certificate.empty() ? "" : " and " + used->certificate) +
                    ". Quit it first, or start another one with --profile.");
}

} // namespace

void RunningInstance::announce(GActionMap* application, const Service& service) {
    auto* const state = g_variant_new("(@s@s)", text(service.origin), text(service.certificate));
    const auto action =
        GPtr<GSimpleAction>::take(g_simple_action_new_stateful(serviceAction, nullptr, state));
    g_simple_action_set_enabled(action.get(), FALSE);
    g_action_map_add_action(application, G_ACTION(action.get()));
}

bool RunningInstance::open(const std::string& applicationId, const std::vector<std::string>& urls,
                           const Service& asked) {
    const auto bus = GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    if (!bus || !isThere(bus.get(), applicationId))
        return false;
    demandService(bus.get(), applicationId, asked);
    auto* const parameters = urls.empty() ? g_variant_new("(@a{sv})", platformData())
                                          : g_variant_new("(@as@a{sv})", listOf(urls), platformData());
    // Nobody waits for the answer of a program that may be busy.
    g_dbus_connection_call(bus.get(), applicationId.c_str(), pathOf(applicationId).c_str(),
                           "org.freedesktop.Application", urls.empty() ? "Activate" : "Open", parameters,
                           nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
    return g_dbus_connection_flush_sync(bus.get(), nullptr, nullptr);
}
