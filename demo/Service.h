#pragma once

#include "demo/AccountEndpoints.h"
#include "demo/Captcha.h"
#include "demo/Clock.h"
#include "demo/GoogleEndpoints.h"
#include "demo/Http.h"
#include "demo/PageEndpoints.h"
#include "demo/Router.h"
#include "demo/SignedIn.h"
#include "demo/State.h"
#include "demo/StateFile.h"
#include "demo/TaskEndpoints.h"

#include <optional>
#include <string>

namespace Demo {

/// The whole service behind its HTTP connection: takes requests, gives answers, keeps the state.
///
/// Runs on one thread. It must stay where it was made: its parts refer to each other.
class Service {
public:
    struct Options {
        std::optional<std::string> stateFile;     ///< none: nothing outlives the process
        std::optional<std::string> captchaAnswer; ///< the same text in every challenge (Captcha)
        Now now = [] { return Clock::now(); };
    };

    /// Loads the state or starts with the seed. Throws std::runtime_error when there is a state that cannot
    /// be read.
    explicit Service(const Options& options);
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// Never throws. A change is in the state file before its answer is given; if it cannot be written, the
    /// answer is an error. A request that another site's page makes in the user's name is refused (403).
    Answer answer(const Request& request);

    /// How many bytes a request to this path may have: 2 MiB for many tasks at once, 64 KiB elsewhere.
    static std::size_t longestBody(const std::string& path);

private:
    Answer respond(const Request& request);

    std::optional<StateFile> stateFile_;
    State state_;
    SignedIn signedIn_;
    Captcha captcha_;
    AccountEndpoints accountEndpoints_;
    GoogleEndpoints googleEndpoints_;
    TaskEndpoints taskEndpoints_;
    PageEndpoints pageEndpoints_;
    Router router_;
};

} // namespace Demo
