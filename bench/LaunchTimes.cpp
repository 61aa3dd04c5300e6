#include "bench/Median.h"
#include "bench/ProcessTree.h"
#include "bench/ScreenPixels.h"

#include <getopt.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr const char* usage =
    "usage: launch-times [--rounds N] [--limit R] [--memory-limit R] NAME COLOUR COMMAND… :: NAME COLOUR "
    "COMMAND…\n"
    "\n"
    "Starts two programs in turn and tells how long each takes until its colour (RRGGBB) is on the screen, "
    "and the ratio\n"
    "of the second to the first, which is the median of all rounds. With --memory-limit also the memory of "
    "all their processes.\n";
constexpr int usageError = 2;
constexpr auto patience = 30s;
constexpr auto betweenLooks = 1ms;
/// After this a page has done what it does at its start.
constexpr auto settling = 3s;

struct Subject {
    std::string name;
    ScreenPixels::Color color = 0;
    std::vector<std::string> command;
    ScreenPixels::Point point = {};
    std::vector<double> milliseconds = {};
    std::vector<double> mebibytes = {};
};

struct Plan {
    int rounds = 9;
    double limit = 0;
    double memoryLimit = 0; ///< none: no figure about memory
    std::vector<Subject> subjects;
};

Plan parse(int count, char** arguments) {
    const option options[] = {{"rounds", required_argument, nullptr, 'r'},
                              {"limit", required_argument, nullptr, 'l'},
                              {"memory-limit", required_argument, nullptr, 'm'},
                              {nullptr, 0, nullptr, 0}};
    Plan plan;
    int choice = 0;
    while ((choice = getopt_long(count, arguments, "+", options, nullptr)) != -1) {
        if (choice == 'r')
            plan.rounds = std::stoi(optarg);
        else if (choice == 'l')
            plan.limit = std::stod(optarg);
        else if (choice == 'm')
            plan.memoryLimit = std::stod(optarg);
        else
            throw std::invalid_argument("an unknown option");
    }
    std::vector<std::string> words(arguments + optind, arguments + count);
    const auto middle = std::find(words.begin(), words.end(), "::");
    if (middle == words.end())
        throw std::invalid_argument("two programs are compared");
    const auto add = [&plan](auto begin, auto end) {
        if (end - begin < 3)
            throw std::invalid_argument("a program has a name, a colour and a command");
        plan.subjects.push_back(
            {.name = *begin,
             .color = static_cast<ScreenPixels::Color>(std::stoul(*(begin + 1), nullptr, 16)),
             .command = {begin + 2, end}});
    };
    add(words.begin(), middle);
    add(middle + 1, words.end());
    if (plan.rounds < 1)
        throw std::invalid_argument("at least one round is needed");
    return plan;
}

template <class Seen>
ProcessTree::Clock::duration timeUntil(Seen seen, ProcessTree& program, const Subject& subject,
                                       std::chrono::milliseconds pause) {
    for (;;) {
        const auto found = seen();
        const auto elapsed = ProcessTree::Clock::now() - program.started();
        if (found)
            return elapsed;
        if (program.hasEnded() || elapsed > patience)
            throw std::runtime_error(subject.name +
                                     (program.hasEnded() ? " has ended:\n" : " shows nothing:\n") +
                                     program.output());
        std::this_thread::sleep_for(pause);
    }
}

/// Finds out where the colour comes to stand, and fills the caches of the system and of the program itself.
void warmUp(const ScreenPixels& screen, Subject& subject) {
    ProcessTree program(subject.command);
    const auto found = [&] {
        const auto point = screen.find(subject.color);
        subject.point = point.value_or(subject.point);
        return point.has_value();
    };
    timeUntil(found, program, subject, 20ms);
    std::this_thread::sleep_for(settling);
    subject.point = screen.find(subject.color).value_or(subject.point);
}

/// The display takes a window away a little later than its program ends.
void waitUntilGone(const ScreenPixels& screen, const Subject& subject) {
    const auto deadline = ProcessTree::Clock::now() + patience;
    while (screen.shows(subject.point, subject.color)) {
        if (ProcessTree::Clock::now() > deadline)
            throw std::runtime_error("the screen has the colour of " + subject.name + " without it");
        std::this_thread::sleep_for(20ms);
    }
}

void measure(const ScreenPixels& screen, Subject& subject, bool memory) {
    waitUntilGone(screen, subject);
    ProcessTree program(subject.command);
    const auto elapsed =
        timeUntil([&] { return screen.shows(subject.point, subject.color); }, program, subject, betweenLooks);
    subject.milliseconds.push_back(std::chrono::duration<double, std::milli>(elapsed).count());
    if (!memory)
        return;
    std::this_thread::sleep_for(settling);
    constexpr double kibibytesOfOne = 1024;
    subject.mebibytes.push_back(static_cast<double>(program.proportionalSetSize()) / kibibytesOfOne);
}

void print(const Plan& plan, std::vector<double> Subject::* figures, const char* unit, double limit) {
    for (const auto& subject : plan.subjects) {
        const auto& values = subject.*figures;
        const auto [least, most] = std::minmax_element(values.begin(), values.end());
        std::printf("  %-28s %8.1f %-4s (%.1f to %.1f)\n", subject.name.c_str(), median(values), unit, *least,
                    *most);
    }
    // What disturbs a round, disturbs both.
    std::vector<double> ratios;
    ratios.reserve((plan.subjects[0].*figures).size());
    for (std::size_t round = 0; round < (plan.subjects[0].*figures).size(); ++round)
        ratios.push_back((plan.subjects[1].*figures)[round] / (plan.subjects[0].*figures)[round]);
    std::printf("  %-28s %8.3f", "ratio of a round", median(ratios));
    if (limit > 0)
        std::printf("      (at most %.2f)", limit);
    std::puts("");
}

void run(Plan plan) {
    const ScreenPixels screen;
    screen.waitForWindowManager();
    for (auto& subject : plan.subjects)
        warmUp(screen, subject);
    const auto memory = plan.memoryLimit > 0;
    for (int round = 0; round < plan.rounds; ++round) {
        for (auto& subject : plan.subjects)
            measure(screen, subject, memory);
        // Neither always comes after the other.
        std::reverse(plan.subjects.begin(), plan.subjects.end());
    }
    if (plan.rounds % 2 == 1)
        std::reverse(plan.subjects.begin(), plan.subjects.end());
    print(plan, &Subject::milliseconds, "ms", plan.limit);
    if (memory)
        print(plan, &Subject::mebibytes, "MiB", plan.memoryLimit);
}

} // namespace

int main(int count, char** arguments) {
    Plan plan;
    try {
        plan = parse(count, arguments);
    } catch (const std::logic_error& failure) {
        std::fprintf(stderr, "launch-times: %s\n%s", failure.what(), usage);
        return usageError;
    }
    try {
        run(std::move(plan));
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "launch-times: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
