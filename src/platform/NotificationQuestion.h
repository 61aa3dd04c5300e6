#pragma once

#include "platform/NotificationCenter.h"
#include "platform/Task.h"

/// The question over the window whether the program may show notifications.
class NotificationQuestion {
public:
    enum class Answer {
        allow,
        dontAllow,
        dismissed ///< closed without an answer, or there is no window to ask over
    };

    virtual ~NotificationQuestion() = default;

    /// Asks, and waits for as long as the person takes. `present` is what holds until then.
    virtual Task<Answer> ask(NotificationPermission present) = 0;
};
