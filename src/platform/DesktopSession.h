#pragma once

#include <functional>

/// The person's session on this machine: when it is locked, and when the machine goes to sleep.
class DesktopSession {
public:
    virtual ~DesktopSession() = default;

    /// Whether the session is known to be locked now.
    virtual bool isLocked() const = 0;

    /// The session has been locked, or is found locked. Never called for unlocking.
    std::function<void()> onLocked;
    /// The machine is about to sleep, and waits, for a while, until `ready` is called.
    std::function<void(std::function<void()> ready)> onSleep;
};
