#pragma once

#include "platform/LocalTime.h"

/// The time zone of this process: TZ, or else /etc/localtime, as it was when it was last looked up.
class SystemTimeZone : public TimeZone {
public:
    std::chrono::seconds offsetAt(std::chrono::sys_seconds moment) const override;

    /// Looks the zone up again. The C library does so by itself only where TZ is not set.
    void refresh();
};
