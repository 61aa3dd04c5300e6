#pragma once

#include "platform/Error.h"

#include <functional>

/// A page that wants to be printed. Nothing is printed before the person has said how; letting go of it
/// prints nothing.
class PrintJob {
public:
    virtual ~PrintJob() = default;

    /// It came to nothing, after the person had said how.
    std::function<void(const Error&)> onFailed;
};
