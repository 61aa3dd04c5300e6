#pragma once

#include "demo/Service.h"

#include <cstdint>
#include <stdexcept>
#include <string>

namespace Demo {

/// What the command line asks for.
struct Options {
    std::string certificate; ///< where the certificate's PEM goes, as an absolute path
    std::uint16_t port = 0;
    bool stay = false; ///< go on when standard input ends
    Service::Options service;

    /// A command line that cannot be followed; what() says why.
    struct Error : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    /// Throws Error. "--help" prints the options and ends the process.
    static Options parse(int argc, char** argv);
};

} // namespace Demo
