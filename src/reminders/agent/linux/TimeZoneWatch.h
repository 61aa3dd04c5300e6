#pragma once

#include "platform/linux/GPtr.h"

#include <gio/gio.h>

#include <functional>
#include <vector>

/// Tells when the rules of this process's time zone may have changed: the file that names the zone, the one
/// that it is a link to, or what TZ names.
class TimeZoneWatch {
public:
    explicit TimeZoneWatch(std::function<void()> onChange);

private:
    void watch();
    void changed();

    std::function<void()> onChange_;
    std::vector<GPtr<GFileMonitor>> monitors_;
    std::vector<SignalConnection> connections_;
};
