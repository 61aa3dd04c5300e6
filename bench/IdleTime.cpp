#include "bench/ProcessTree.h"
#include "bench/ScreenPixels.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr int usageError = 2;
constexpr auto patience = 30s;
/// After this a page has done what it does at its start.
constexpr auto settling = 8s;

void waitFor(const ScreenPixels& screen, ScreenPixels::Color color, ProcessTree& program) {
    while (!screen.find(color)) {
        if (program.hasEnded() || ProcessTree::Clock::now() - program.started() > patience)
            throw std::runtime_error("the program shows nothing:\n" + program.output());
        std::this_thread::sleep_for(20ms);
    }
}

void run(double limit, std::chrono::seconds length, ScreenPixels::Color color,
         const std::vector<std::string>& command) {
    const ScreenPixels screen;
    screen.waitForWindowManager();
    ProcessTree program(command);
    waitFor(screen, color, program);
    std::this_thread::sleep_for(settling);
    const auto before = program.processorTime();
    std::this_thread::sleep_for(length);
    const auto used = std::chrono::duration<double, std::milli>(program.processorTime() - before).count();
    if (program.hasEnded())
        throw std::runtime_error("the program has ended:\n" + program.output());
    std::printf("  %-28s %8.2f ms/s (at most %.1f)\n", "processor time",
                used / static_cast<double>(length.count()), limit);
}

} // namespace

/// Tells how much processor time a program and all of its processes take while nothing happens.
int main(int count, char** arguments) {
    if (count < 5) {
        std::fputs(
            "usage: idle-time LIMIT SECONDS COLOUR COMMAND…\n\n"
            "LIMIT is in milliseconds a second; the colour (RRGGBB) tells that the program is there.\n",
            stderr);
        return usageError;
    }
    try {
        run(std::stod(arguments[1]), std::chrono::seconds(std::stol(arguments[2])),
            static_cast<ScreenPixels::Color>(std::stoul(arguments[3], nullptr, 16)),
            {arguments + 4, arguments + count});
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "idle-time: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
