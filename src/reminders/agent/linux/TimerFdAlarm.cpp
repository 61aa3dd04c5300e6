#include "reminders/agent/linux/TimerFdAlarm.h"

#include "platform/Error.h"

#include <glib-unix.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

TimerFdAlarm::TimerFdAlarm() : descriptor_(timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC)) {
    if (descriptor_ < 0)
        throw Error(std::strerror(errno));
    source_ = g_unix_fd_add(descriptor_, G_IO_IN, ready, this);
}

TimerFdAlarm::~TimerFdAlarm() {
    g_source_remove(source_);
    ::close(descriptor_);
}

void TimerFdAlarm::set(std::optional<std::chrono::sys_seconds> moment) {
    itimerspec time = {};
    if (moment) // a time of 0 would turn the timer off
        time.it_value.tv_sec = std::max<std::time_t>(moment->time_since_epoch().count(), 1);
    timerfd_settime(descriptor_, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &time, nullptr);
}

gboolean TimerFdAlarm::ready(int descriptor, GIOCondition, gpointer self) {
    std::uint64_t count = 0;
    // A clock that has been set ends the wait with ECANCELED, which is as good a reason to look at it.
    if (::read(descriptor, &count, sizeof count) < 0 && errno != ECANCELED)
        return G_SOURCE_CONTINUE;
    const auto& alarm = *static_cast<TimerFdAlarm*>(self);
    if (alarm.onRing)
        alarm.onRing();
    return G_SOURCE_CONTINUE;
}
