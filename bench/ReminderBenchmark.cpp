#include "platform/linux/TemporaryFolder.h"
#include "reminders/linux/AgentNotificationCenter.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

// What the agent of the reminders costs on the session bus of this process: a long list at once, then doing
// nothing.

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int items = 10'000;
constexpr auto syncLimit = 250ms;
constexpr auto turnLimit = 100ms;  ///< longer than this, a window is felt to hang
constexpr long memoryLimit = 8192; // KiB
constexpr auto settlingTime = 1s;  ///< after the last answer
constexpr auto idleTime = 10s;

class NoQuestion : public NotificationQuestion {
public:
    Task<Answer> ask() override { co_return Answer::dismissed; }
};

std::vector<NotificationRequest> makeRequests(int variant) {
    std::vector<NotificationRequest> requests;
    requests.reserve(items);
    for (int number = 0; number < items; ++number)
        requests.push_back({"brisko.task." + std::to_string(number),
                            "Task number " + std::to_string(number),
                            "in the project that it belongs to",
                            number,
                            {2999, 1, 1, variant, number % 60}});
    return requests;
}

Task<> replace(NotificationCenter* center, int variant, bool* done) {
    const auto replaced = co_await center->replace("brisko.task.", makeRequests(variant));
    if (replaced.added != items)
        std::puts("  the list was not kept");
    *done = true;
}

/// The first number after the name in a file of /proc.
long numberIn(const std::string& file, const std::string& name) {
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        std::istringstream words(line);
        std::string key;
        long number = 0;
        if (words >> key >> number && key == name)
            return number;
    }
    return -1;
}

long wakeUps(const std::string& process) {
    long sum = 0;
    for (const auto& thread : std::filesystem::directory_iterator(process + "/task"))
        sum += numberIn(thread.path() / "status", "voluntary_ctxt_switches:");
    return sum;
}

std::string processOf(GDBusConnection* bus, const std::string& name) {
    const GVariantPtr reply(g_dbus_connection_call_sync(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                        "org.freedesktop.DBus", "GetConnectionUnixProcessID",
                                                        g_variant_new("(s)", name.c_str()), nullptr,
                                                        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    guint32 id = 0;
    if (reply)
        g_variant_get(reply.get(), "(u)", &id);
    return "/proc/" + std::to_string(id);
}

bool report(const char* what, double value, double limit, const char* unit) {
    std::printf("  %-44s %8.1f %s (limit %.0f)%s\n", what, value, unit, limit,
                value > limit ? "  TOO MUCH" : "");
    return value <= limit;
}

} // namespace

int main() {
    const auto bus = GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    const TemporaryFolder folder("reminder-benchmark");
    const ReminderPlace place = {"app.brisko.Benchmark", folder.path()};
    NoQuestion question;
    AgentNotificationCenter center(bus, {place, {"true"}}, question);

    auto longestSync = Milliseconds(0);
    auto longestTurn = Milliseconds(0);
    constexpr int rounds = 9;
    for (int round = 0; round < rounds; ++round) {
        bool done = false;
        const auto start = Clock::now();
        auto turn = start;
        spawn(replace(&center, round % 2, &done));
        while (!done) {
            longestTurn = std::max<Milliseconds>(longestTurn, Clock::now() - turn);
            // Waiting for an event is not work: a turn begins when there is one.
            while (!g_main_context_pending(nullptr))
                std::this_thread::sleep_for(100us);
            turn = Clock::now();
            g_main_context_iteration(nullptr, FALSE);
        }
        if (round > 0) // the first one starts the agent
            longestSync = std::max<Milliseconds>(longestSync, Clock::now() - start);
    }
    const auto process = processOf(bus.get(), place.busName());
    std::this_thread::sleep_for(settlingTime);
    const auto before = wakeUps(process);
    std::this_thread::sleep_for(idleTime);
    const auto awakened = wakeUps(process) - before;
    const auto memory = numberIn(process + "/smaps_rollup", "Pss:");

    bool isGood = report("10,000 reminders until the answer, longest", longestSync.count(),
                         Milliseconds(syncLimit).count(), "ms");
    isGood &= report("longest hold-up of the window meanwhile", longestTurn.count(),
                     Milliseconds(turnLimit).count(), "ms");
    isGood &=
        report("agent with them, proportional set size", static_cast<double>(memory), memoryLimit, "KiB");
    isGood &= report("its wake-ups in 10 s", static_cast<double>(awakened), 0, "");

    bool done = false;
    const auto clear = [](NotificationCenter* emptied, bool* ended) -> Task<> {
        co_await emptied->replace("", {});
        *ended = true;
    };
    spawn(clear(&center, &done));
    while (!done)
        g_main_context_iteration(nullptr, TRUE);
    return isGood ? EXIT_SUCCESS : EXIT_FAILURE;
}
