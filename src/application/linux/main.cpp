#include "application/linux/Options.h"
#include "application/linux/ProgramModule.h"
#include "application/linux/RunningInstance.h"
#include "platform/Error.h"
#include "platform/linux/Module.h"
#include "platform/linux/Profile.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>

// A start that only has something to tell to the program that runs already comes and goes without the
// toolkit, which is in the module.

namespace {

constexpr int usageError = 2;

int run(const Options& options) {
    if (!options.tour &&
        RunningInstance::open(options.chooseProfile().applicationId(), options.urls, options.service()))
        return EXIT_SUCCESS;
    const auto start =
        reinterpret_cast<decltype(&briskoRunProgram)>(Module::symbolOf(programModuleName, programEntryName));
    return start(options);
}

} // namespace

int main(int count, char** arguments) {
    std::setlocale(LC_ALL, "");
    Options options;
    try {
        options = Options::parse(std::vector<std::string>(arguments + 1, arguments + count));
    } catch (const Error& failure) {
        std::fprintf(stderr, "brisko: %s\n", failure.what());
        return usageError;
    }
    if (options.action == Options::Action::showVersion) {
        std::printf("brisko %s\n", BRISKO_VERSION);
        return EXIT_SUCCESS;
    }
    if (options.action == Options::Action::showHelp) {
        std::fputs(Options::help().c_str(), stdout);
        return EXIT_SUCCESS;
    }
    try {
        return run(options);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "brisko: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
