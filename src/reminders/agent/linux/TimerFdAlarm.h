#pragma once

#include "reminders/agent/AgentPorts.h"

#include <glib.h>

/// The system's timer for the wall clock, on the main loop: it goes on counting while the machine sleeps, and
/// tells when somebody sets the clock (timerfd_create(2), TFD_TIMER_CANCEL_ON_SET). Nothing wakes up in
/// between.
class TimerFdAlarm : public AlarmClock {
public:
    /// Throws Error when the system has no timer.
    TimerFdAlarm();
    ~TimerFdAlarm() override;
    TimerFdAlarm(const TimerFdAlarm&) = delete;
    TimerFdAlarm& operator=(const TimerFdAlarm&) = delete;

    void set(std::optional<std::chrono::sys_seconds> moment) override;

private:
    static gboolean ready(int descriptor, GIOCondition, gpointer self);

    int descriptor_;
    guint source_;
};
