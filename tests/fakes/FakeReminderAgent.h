#pragma once

#include "fakes/Gate.h"
#include "platform/Error.h"
#include "reminders/agent/AgentPorts.h"

#include <map>

/// The agent's files in memory, as text. They outlive the agent.
class FakeReminderStore : public ReminderStore {
public:
    std::string pending;
    std::vector<std::string> log;
    bool full = false;
    bool permitted = true;

    PendingList loadPending() override { return PendingList::decode(pending).value_or(PendingList()); }
    std::vector<DeliveryEvent> loadDeliveries() override {
        std::vector<DeliveryEvent> events;
        for (const auto& line : log)
            if (const auto event = DeliveryEvent::decode(line))
                events.push_back(*event);
        return events;
    }
    void savePending(const PendingList& list) override {
        refuseWhenFull();
        pending = list.encode();
    }
    void append(const std::vector<DeliveryEvent>& events) override {
        refuseWhenFull();
        for (const auto& event : events)
            log.push_back(event.encode());
    }
    void restartLog(const std::vector<DeliveryEvent>& events) override {
        refuseWhenFull();
        log.clear();
        append(events);
    }
    bool isPermitted() const override { return permitted; }

private:
    void refuseWhenFull() const {
        if (full)
            throw Error("No space left on device");
    }
};

/// A screen.
class FakeNotificationServer : public NotificationServer, public Gate {
public:
    std::string running = "first"; ///< its name; empty when there is none
    std::vector<std::string> sent; ///< the titles of all that has been sent, in order
    std::map<std::uint32_t, std::string> onScreen;
    Outcome outcome = Outcome::shown;
    Listening listening = Listening::off;

    std::string name() const override { return running; }
    Task<bool> prepare() override { co_return !running.empty(); }
    Task<Sent> show(NotificationRequest request, std::optional<std::uint32_t> replaced) override {
        sent.push_back(request.title);
        co_await pass();
        if (outcome != Outcome::shown)
            co_return Sent(outcome);
        const auto id = replaced ? *replaced : ++last_;
        onScreen[id] = request.title;
        co_return Sent(outcome, id);
    }
    void close(std::uint32_t id) override { onScreen.erase(id); }
    void listen(Listening wanted) override { listening = wanted; }

    /// The person takes a notification away.
    void dismiss(std::uint32_t id) {
        onScreen.erase(id);
        onClosed(id);
    }
    /// It ends, and with it what is on the screen.
    void vanish() {
        running.clear();
        onScreen.clear();
        onVanished();
    }
    void appear(const std::string& name) {
        running = name;
        onAppeared();
    }

private:
    std::uint32_t last_ = 0;
};

class FakeAlarmClock : public AlarmClock {
public:
    std::optional<std::chrono::sys_seconds> moment;

    void set(std::optional<std::chrono::sys_seconds> wanted) override { moment = wanted; }
};

class FakeShellLauncher : public ShellLauncher {
public:
    std::vector<std::string> opened; ///< "command token"

    void open(std::vector<std::string> command, std::string token) override {
        opened.push_back((command.empty() ? "" : command[0]) + " " + token);
    }
};
