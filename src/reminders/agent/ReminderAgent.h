#pragma once

#include "platform/Clock.h"
#include "platform/LocalTime.h"
#include "platform/NotificationCenter.h"
#include "platform/Task.h"
#include "reminders/agent/AgentPorts.h"
#include "reminders/agent/ReminderSchedule.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// Keeps the pending reminders and shows each in its minute, whether or not the program runs.
///
/// A reminder is shown at most once: that it has been delivered is on disk before it is sent to the desktop.
/// So an agent that is killed in between, a few thousandths of a second, leaves that one reminder unseen.
/// That is the lesser evil: a desktop that ends on a notification would otherwise be sent it again and again.
/// Where it is certain that nobody was there to show it, it waits. Where the disk is full, it is shown all
/// the same, and again only if the agent ends too before the day is over.
///
/// One whose minute passed while the machine slept or was off, or while nothing could show it, is shown
/// afterwards if that is less than a day ago. Without the person's permission its minute passes in silence.
class ReminderAgent {
public:
    /// All of it outlives the agent.
    struct Surroundings {
        ReminderStore& store;
        NotificationServer& server;
        AlarmClock& alarm;
        ShellLauncher& launcher;
        const Clock& clock;
        const TimeZone& zone;
    };

    /// Reads what is stored. Throws Error when that is impossible.
    explicit ReminderAgent(const Surroundings& surroundings);
    ReminderAgent(const ReminderAgent&) = delete;
    ReminderAgent& operator=(const ReminderAgent&) = delete;

    /// Told whenever `isNeeded` may have changed.
    std::function<void()> onChange;

    /// Begins to show reminders.
    void start();
    /// As NotificationCenter::replace. `command` starts the program.
    NotificationCenter::Replaced replace(std::string_view prefix, std::vector<NotificationRequest> requests,
                                         std::vector<std::string> command);
    std::vector<std::string> pendingIdentifiers() const { return schedule_.pendingIdentifiers(now()); }
    /// Whether there is anything to wait for: a reminder, or what a person does with one that is shown.
    bool isNeeded() const;
    void timeZoneChanged();

private:
    std::chrono::sys_seconds now() const;
    void wake();
    Task<> deliverAll();
    Task<bool> deliverNext();
    void passInSilence();
    void note(const std::vector<DeliveryEvent>& events);
    std::vector<ReminderSchedule::Delivery> takeDue(std::size_t most);
    void write(const std::vector<DeliveryEvent>& events);
    void reload();
    void shortenLog();
    void opened(std::uint32_t id, std::string token);
    void closed(std::uint32_t id);
    void settle();

    Surroundings with_;
    ReminderSchedule schedule_;
    std::chrono::sys_seconds looked_; ///< when it was last asked whether anything is due
    std::size_t logLength_ = 0;
    bool delivering_ = false;
    bool serverIsKnown_ = false; ///< whether there is one or not
};
