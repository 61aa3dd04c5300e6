#include "bench/Median.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr const char* usage =
    "usage: second-start ROUNDS LIMIT COMMAND… :: COMMAND…\n"
    "\n"
    "Runs two commands in turn, each to its end, and tells how long each takes and the "
    "ratio of the second to\n"
    "the first.\n";
constexpr int usageError = 2;

/// In milliseconds, from before the process exists until it has ended.
double run(std::vector<std::string> command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (auto& word : command)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const auto start = std::chrono::steady_clock::now();
    pid_t process = 0;
    if (posix_spawnp(&process, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0)
        throw std::runtime_error(command[0] + " cannot be started");
    int status = 0;
    waitpid(process, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error(command[0] + " did not end well");
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

int main(int count, char** arguments) {
    const std::vector<std::string> words(arguments + 1, arguments + count);
    const auto middle = std::find(words.begin(), words.end(), "::");
    if (middle - words.begin() < 3 || words.end() - middle < 2) {
        std::fputs(usage, stderr);
        return usageError;
    }
    try {
        const std::vector<std::string> baseline(words.begin() + 2, middle);
        const std::vector<std::string> measured(middle + 1, words.end());
        std::vector<double> baselineTimes;
        std::vector<double> measuredTimes;
        run(baseline);
        run(measured);
        for (int round = 0; round < std::stoi(words[0]); ++round) {
            baselineTimes.push_back(run(baseline));
            measuredTimes.push_back(run(measured));
        }
        std::printf("  empty application %6.1f ms\n  brisko            %6.1f ms\n  ratio             %8.3f   "
                    "(at most "
                    "%s)\n",
                    median(baselineTimes), median(measuredTimes),
                    median(measuredTimes) / median(baselineTimes), words[1].c_str());
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "second-start: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
