#pragma once

#include "platform/Url.h"
#include "platform/linux/GPtr.h"

#include <gio/gio.h>

#include <filesystem>
#include <optional>
#include <string>

/// The embedded service, a program of its own that runs as a child and ends with this one, however this one
/// ends: it serves until the pipe between the two is closed.
class DemoService {
public:
    struct Options {
        std::filesystem::path certificate; ///< where the service writes the certificate that it makes
        std::filesystem::path state;       ///< where it keeps its accounts and tasks
        std::optional<std::string>
            captchaAnswer; ///< what every verification image shows, drawn by lot otherwise
    };

    /// Starts the child and returns at once. Throws Error when it cannot be started.
    explicit DemoService(const Options& options);
    ~DemoService();

    /// Where the service listens. Waits for the child to say so; throws Error when it does not.
    Url origin();
    const std::filesystem::path& certificate() const { return certificate_; }
    /// Lets the service take its time: while it is paused it accepts connections and answers nobody.
    void pause();
    void goOn();

private:
    std::string readLine();

    std::filesystem::path certificate_;
    GPtr<GSubprocess> child_;
};
