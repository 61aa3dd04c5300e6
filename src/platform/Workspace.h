#pragma once

#include "platform/Url.h"

/// The desktop around the program.
class Workspace {
public:
    virtual ~Workspace() = default;

    /// Opens the URL with the default browser, or whatever program the desktop has for its scheme. A desktop without
    /// one does nothing.
    virtual void open(const Url& url) = 0;
};
