#pragma once

#include "platform/linux/GPtr.h"
#include "platform/linux/OneShotTimer.h"

#include <gtk/gtk.h>

#include <functional>
#include <vector>

/// Tells when the program gets the keyboard of the desktop and when it loses it: with any of its windows, so
/// that going from one of them to another is neither.
class ActivationMonitor {
public:
    ActivationMonitor();
    ActivationMonitor(const ActivationMonitor&) = delete;
    ActivationMonitor& operator=(const ActivationMonitor&) = delete;

    std::function<void()> onActivated;
    std::function<void()> onDeactivated;

    bool isActive() const { return active_; }

private:
    void watchWindows();
    void windowChanged();
    void settle();

    bool active_ = false;
    OneShotTimer settling_;
    SignalConnection list_;
    std::vector<SignalConnection> windows_;
};
