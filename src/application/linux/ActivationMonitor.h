#pragma once

#include "platform/linux/GPtr.h"
#include "platform/linux/OneShotTimer.h"

#include <gtk/gtk.h>

#include <functional>
#include <vector>

/// Tells when the program gets the keyboard of the desktop and when it loses it: with any of its windows, so
/// that going from one of them to another is neither. While the main window is closed it has not got it, and
/// while the desktop grabs the keyboard for a moment it still has.
class ActivationMonitor {
public:
    /// The main window outlives it.
    explicit ActivationMonitor(GtkWindow* main);
    ActivationMonitor(const ActivationMonitor&) = delete;
    ActivationMonitor& operator=(const ActivationMonitor&) = delete;

    std::function<void()> onActivated;
    std::function<void()> onDeactivated;

    bool isActive() const { return active_; }

private:
    void watchWindows();
    void windowChanged();
    bool hasKeyboard() const;
    void settle();

    GtkWindow* main_;
    bool active_ = false;
    OneShotTimer settling_;
    int waits_ = 0; ///< for the end of a grab
    SignalConnection list_;
    SignalConnection closing_;
    std::vector<SignalConnection> windows_;
};
