#pragma once

#include "platform/DesktopSession.h"
#include "platform/linux/SystemBus.h"

#include <memory>

/// The session as the desktop and logind tell of it: the screen savers of the desktops on the session bus
/// (`ActiveChanged` with true), logind's request to lock a session of this person (`Session.Lock`), and the
/// machine going to sleep (`PrepareForSleep` with true). Whether the session was locked before is asked of
/// the same screen savers (`GetActive`) and of logind (`LockedHint`).
///
/// The machine's sleep is delayed by an inhibitor, which is held all the time, released when `ready` is
/// called and taken again once the machine is awake. logind waits for it no longer than its own limit
/// (InhibitDelayMaxSec, 5 s unless it is set otherwise).
///
/// Where a bus or logind is missing, nothing is heard from it; logind may come, go and come again.
class LogindSession : public DesktopSession {
public:
    /// The bus has to outlive it.
    explicit LogindSession(SystemBus& bus);
    ~LogindSession() override;

    bool isLocked() const override;

    /// Begins to listen. Everything is in place some time after this has returned.
    void start();

private:
    class Link;

    SystemBus& bus_;
    std::shared_ptr<Link> link_;
};
