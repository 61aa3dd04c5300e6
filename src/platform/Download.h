#pragma once

#include "platform/Error.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

/// A file on its way from a page to the disk. The engine keeps it until it has ended, which exactly one of
/// the last three callbacks tells.
class Download {
public:
    virtual ~Download() = default;

    /// Asked once, with the name that the page or the service suggests (a name, possibly with folders, or
    /// empty): the absolute path of the file to write. None cancels the download.
    std::function<std::optional<std::filesystem::path>(const std::string& suggestedName)> decideDestination;
    /// How far it has come, from 0 to 1; never called where the length is unknown.
    std::function<void(double fraction)> onProgress;
    std::function<void()> onFinished;
    std::function<void(const Error&)> onFailed;
    std::function<void()> onCancelled;

    /// Ends it, now or before it has begun; what has been written so far may remain.
    virtual void cancel() = 0;
};
