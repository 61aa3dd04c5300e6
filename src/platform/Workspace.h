#pragma once

#include "platform/Error.h"
#include "platform/Url.h"

#include <functional>

/// The desktop around the program.
class Workspace {
public:
    virtual ~Workspace() = default;

    /// Opens the URL with the default browser, or whatever program the desktop has for its scheme. Where
    /// there is none, `onFailure` (which may be empty) hears why, at once or later.
    virtual void open(const Url& url, std::function<void(const Error&)> onFailure) = 0;
    void open(const Url& url) { open(url, {}); }
};
