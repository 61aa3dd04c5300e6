#pragma once

#include "application/linux/RunningInstance.h"
#include "platform/Url.h"
#include "platform/linux/Profile.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// What the command line asks for.
struct Options {
    enum class Action { run, showVersion, showHelp };

    Action action = Action::run;
    bool demo = false;
    std::optional<Url> serviceOrigin;
    std::optional<std::filesystem::path> serviceCa; ///< absolute
    std::optional<std::filesystem::path> profile;   ///< absolute
    std::optional<std::filesystem::path> tour;      ///< absolute
    std::vector<std::string> urls;

    /// Which service they ask for.
    RunningInstance::Service service() const;
    /// Where a program with these options keeps its files.
    Profile chooseProfile() const;

    /// Reads the arguments after the program's name. Throws Error with a sentence for the terminal when they
    /// make no sense.
    static Options parse(const std::vector<std::string>& arguments);
    static std::string help();
};
