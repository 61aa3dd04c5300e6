#pragma once

#include "platform/linux/GPtr.h"
#include "platform/linux/OneShotTimer.h"
#include "reminders/agent/ReminderAgent.h"
#include "reminders/linux/ReminderPlace.h"

#include <gio/gio.h>

/// The agent on the session bus:
///
///     interface app.brisko.Reminders1 {
///         Replace(in s prefix, in h requests, in as command, out u removed, out u added);
///         Pending(out as identifiers);
///     }
///
/// The requests come as a file (RequestText), so that no limit of the bus keeps a long list out.
class AgentService {
public:
    /// How long the agent stays when it is no longer needed: a page that sends one list after the other does
    /// not start it each time.
    static constexpr std::chrono::seconds usualLinger{2};

    /// All of it outlives the service.
    AgentService(GPtr<GDBusConnection> bus, const ReminderPlace& place, ReminderAgent& agent,
                 std::chrono::seconds linger = usualLinger);
    ~AgentService();
    AgentService(const AgentService&) = delete;
    AgentService& operator=(const AgentService&) = delete;

    /// Serves until the agent is not needed, the bus goes, or another one has its name. Returns the program's
    /// exit status.
    int run();

private:
    static void called(GDBusConnection*, const char*, const char*, const char*, const char* method,
                       GVariant* parameters, GDBusMethodInvocation* invocation, gpointer self);
    void replace(GVariant* parameters, GDBusMethodInvocation* invocation);
    void pending(GDBusMethodInvocation* invocation);
    void ownName();
    void considerLeaving();
    void leave();
    void quit(int status);

    GPtr<GDBusConnection> bus_;
    std::string name_;
    ReminderAgent& agent_;
    std::chrono::seconds linger_;
    GMainLoop* loop_;
    SignalConnection closing_;
    OneShotTimer leaving_;
    guint object_ = 0;
    guint owning_ = 0;
    int status_;
};
