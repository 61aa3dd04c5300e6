#pragma once

#include "platform/LocalTime.h"

/// The time zone of this process: TZ, or else /etc/localtime, as it was when it was last looked up.
class SystemTimeZone : public TimeZone {
public:
    std::chrono::seconds offsetAt(std::chrono::sys_seconds moment) const override;

    /// TZ stays what it is in a process.
    void refresh() override;
    /// Reads the rules again even where TZ names them. Only for a process of one thread: it sets TZ for a
    /// moment.
    void reread();
};
