#include "platform/Error.h"
#include "platform/linux/Profile.h"
#include "platform/linux/SystemClock.h"
#include "reminders/agent/ReminderAgent.h"
#include "reminders/agent/linux/AgentService.h"
#include "reminders/agent/linux/DesktopNotificationServer.h"
#include "reminders/agent/linux/DesktopShellLauncher.h"
#include "reminders/agent/linux/FileReminderStore.h"
#include "reminders/agent/linux/TimeZoneWatch.h"
#include "reminders/agent/linux/TimerFdAlarm.h"
#include "reminders/linux/SystemTimeZone.h"

#include <getopt.h>
#include <sysexits.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <optional>

namespace {

constexpr int usageError = 2;
constexpr int inUse = EX_TEMPFAIL;        // nobody is to start it again for that
constexpr guint64 longestLinger = 86'400; // seconds

constexpr auto help =
    "Usage: brisko-reminders [OPTION…]\n"
    "\n"
    "Shows the reminders of brisko when they are due, and ends when there are none. The program\n"
    "starts it by itself.\n"
    "\n"
    "  --if-pending         end at once when there are no reminders\n"
    "  --application-id ID  the application that the reminders belong to\n"
    "  --state DIR          the folder that keeps them\n"
    "  --linger SECONDS     how long to stay when there is nothing to wait for: 2, unless it is given\n"
    "  --help               print this\n";

struct Options {
    bool onlyIfPending = false;
    bool wantsHelp = false;
    std::chrono::seconds linger = AgentService::usualLinger;
    ReminderPlace place = {Profile::userApplicationId, std::filesystem::path(g_get_user_state_dir()) /
                                                           Profile::userFolderName / "reminders"};
};

std::optional<std::chrono::seconds> secondsOf(const char* text) {
    guint64 seconds = 0;
    const auto isOne = g_ascii_string_to_unsigned(text, 10, 0, longestLinger, &seconds, nullptr);
    return isOne ? std::optional(std::chrono::seconds(seconds)) : std::nullopt;
}

std::optional<Options> parse(int count, char** arguments) {
    enum Option { ifPending = 1, applicationId, state, linger, showHelp };
    static const option table[] = {{"if-pending", no_argument, nullptr, ifPending},
                                   {"application-id", required_argument, nullptr, applicationId},
                                   {"state", required_argument, nullptr, state},
                                   {"linger", required_argument, nullptr, linger},
                                   {"help", no_argument, nullptr, showHelp},
                                   {nullptr, 0, nullptr, 0}};
    Options options;
    for (int choice = 0; (choice = getopt_long(count, arguments, "", table, nullptr)) != -1;) {
        if (choice == ifPending)
            options.onlyIfPending = true;
        else if (choice == applicationId && g_dbus_is_name(optarg) && !g_dbus_is_unique_name(optarg))
            options.place.applicationId = optarg;
        else if (choice == state && *optarg != '\0')
            options.place.folder = std::filesystem::absolute(optarg);
        else if (choice == linger && secondsOf(optarg))
            options.linger = *secondsOf(optarg);
        else if (choice == showHelp)
            options.wantsHelp = true;
        else
            return std::nullopt;
    }
    return optind == count ? std::optional(options) : std::nullopt;
}

/// Whether the bus starts the agent by itself, and so looks after it.
bool startByBus(GDBusConnection* bus, const std::string& name) {
    const GVariantPtr reply(g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "StartServiceByName",
        g_variant_new("(su)", name.c_str(), 0), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    return reply != nullptr;
}

bool isAnyPending(const ReminderPlace& place) {
    // Nothing is made where there has never been anything.
    if (!std::filesystem::exists(place.pendingFile()))
        return false;
    FileReminderStore store(place);
    const SystemTimeZone zone;
    ReminderSchedule schedule(zone);
    for (const auto& event : store.loadDeliveries())
        schedule.apply(event);
    schedule.adopt(store.loadPending());
    return schedule.isAnyPending(std::chrono::floor<std::chrono::seconds>(SystemClock().now()));
}

int serve(const Options& options) {
    if (options.onlyIfPending && !isAnyPending(options.place))
        return EXIT_SUCCESS;
    GError* error = nullptr;
    const auto bus = GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error));
    if (!bus)
        throw Error(GErrorPtr(error)->message);
    if (options.onlyIfPending && startByBus(bus.get(), options.place.busName()))
        return EXIT_SUCCESS;

    FileReminderStore store(options.place);
    SystemTimeZone zone;
    const SystemClock clock;
    DesktopNotificationServer server(bus);
    TimerFdAlarm alarm;
    DesktopShellLauncher launcher(bus, options.place.applicationId);
    ReminderAgent agent({store, server, alarm, launcher, clock, zone});
    const TimeZoneWatch watch([&] {
        zone.reread();
        agent.timeZoneChanged();
    });
    return AgentService(bus, options.place, agent, options.linger).run();
}

} // namespace

int main(int count, char** arguments) {
    // The agent stays when the terminal or the program that has started it goes, and holds no folder up.
    setsid();
    if (chdir("/") != 0)
        return EXIT_FAILURE;
    // Nothing here opens a file of another machine, and the modules that could would take more memory than
    // the agent.
    setenv("GIO_USE_VFS", "local", 1);
    const auto options = parse(count, arguments);
    if (!options) {
        std::fprintf(stderr, "brisko-reminders: 'brisko-reminders --help' lists the options.\n");
        return usageError;
    }
    if (options->wantsHelp) {
        std::fputs(help, stdout);
        return EXIT_SUCCESS;
    }
    try {
        return serve(*options);
    } catch (const StoreInUse& failure) {
        std::fprintf(stderr, "brisko-reminders: %s\n", failure.what());
        return inUse;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "brisko-reminders: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
