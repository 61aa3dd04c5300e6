#include "platform/linux/MemoryProtection.h"

#include "platform/linux/GAsync.h"
#include "platform/linux/GPtr.h"

#include <sys/prctl.h>
#include <sys/resource.h>

namespace {

#ifdef NDEBUG
constexpr bool wanted = true;
#else
constexpr bool wanted = false;
#endif

constexpr int patienceMilliseconds = 2000;

} // namespace

void MemoryProtection::apply() {
    const rlimit none = {.rlim_cur = 0, .rlim_max = 0};
    setrlimit(RLIMIT_CORE, &none);
    prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

void MemoryProtection::applyNow() {
    if (wanted)
        apply();
}

Task<> MemoryProtection::applyBesidePortals() {
    if (!wanted)
        co_return;
    GAsync connecting;
    g_bus_get(G_BUS_TYPE_SESSION, nullptr, GAsync::ready, &connecting);
    const auto connected = co_await connecting;
    const auto bus = GPtr<GDBusConnection>::take(g_bus_get_finish(connected.get(), nullptr));
    if (bus) {
        // Any call would do; this one is cheap and changes nothing.
        GAsync calling;
        g_dbus_connection_call(bus.get(), "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
                               "org.freedesktop.portal.Settings", "Read",
                               g_variant_new("(ss)", "org.freedesktop.appearance", "color-scheme"), nullptr,
                               G_DBUS_CALL_FLAGS_NONE, patienceMilliseconds, nullptr, GAsync::ready,
                               &calling);
        const auto called = co_await calling;
        const GVariantPtr reply(g_dbus_connection_call_finish(bus.get(), called.get(), nullptr));
    }
    apply();
}
