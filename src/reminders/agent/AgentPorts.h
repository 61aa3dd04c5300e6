#pragma once

#include "platform/NotificationCenter.h"
#include "reminders/agent/Deliveries.h"
#include "reminders/agent/PendingList.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// What the agent of the reminders asks of the world.

/// The agent's files.
class ReminderStore {
public:
    virtual ~ReminderStore() = default;

    /// What cannot be used is set aside and reads as empty. Throws Error when it cannot be read at all.
    virtual PendingList loadPending() = 0;
    virtual std::vector<DeliveryEvent> loadDeliveries() = 0;
    /// Each of these is on disk when it returns. Throws Error with nothing changed.
    virtual void savePending(const PendingList& list) = 0;
    /// Events of one kind. What has been shown or closed outlives the agent only: the screen goes with the
    /// machine.
    virtual void append(const std::vector<DeliveryEvent>& events) = 0;
    /// The log is these events from now on.
    virtual void restartLog(const std::vector<DeliveryEvent>& events) = 0;
    /// Whether the person has allowed notifications, as of now.
    virtual bool isPermitted() const = 0;
};

/// What shows notifications on the desktop. It may come and go.
class NotificationServer {
public:
    enum class Outcome {
        shown,
        notSent, ///< certainly: there is no server
        unknown  ///< it has refused, or ended, or not answered in time
    };
    struct Sent {
        explicit Sent(Outcome given, std::uint32_t number = 0) : outcome(given), id(number) {}

        Outcome outcome;
        std::uint32_t id; ///< its number, when it is shown
    };

    virtual ~NotificationServer() = default;

    std::function<void()> onAppeared; ///< also when it is there at the start
    std::function<void()> onVanished; ///< also when there is none at the start
    /// The person has opened a notification. The token lets what they opened take the focus; it may be empty.
    std::function<void(std::uint32_t id, std::string token)> onOpened;
    std::function<void(std::uint32_t id)> onClosed;

    /// Names the server that runs, unlike any other that ever ran; empty when there is none.
    virtual std::string name() const = 0;
    /// Starts it where the desktop can. False when there is none.
    virtual Task<bool> prepare() = 0;
    virtual Task<Sent> show(NotificationRequest request, std::optional<std::uint32_t> replaced) = 0;
    virtual void close(std::uint32_t id) = 0;
    /// Whether `onOpened` and `onClosed` are called; listening wakes the agent for other programs'
    /// notifications too.
    enum class Listening { on, off };
    virtual void listen(Listening listening) = 0;
};

/// Rings at a moment of the wall clock.
class AlarmClock {
public:
    virtual ~AlarmClock() = default;

    std::function<void()> onRing; ///< the moment has come, or the clock has been set
    /// None for no moment. Takes the place of the one before.
    virtual void set(std::optional<std::chrono::sys_seconds> moment) = 0;
};

/// Brings the program forward for a person who has opened a notification.
class ShellLauncher {
public:
    virtual ~ShellLauncher() = default;

    /// `command` starts the program where it does not run.
    virtual void open(std::vector<std::string> command, std::string token) = 0;
};
