#pragma once

#include "fakes/FakeNotifications.h"
#include "platform/linux/GPtr.h"
#include "platform/linux/TemporaryFolder.h"
#include "reminders/agent/PendingList.h"
#include "reminders/linux/AgentNotificationCenter.h"
#include "reminders/linux/ReminderPlace.h"

#include <gio/gio.h>
#include <sys/types.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace DesktopEvents {

/// Runs the main loop until something is so that tells nobody.
void poll(const std::function<bool()>& isReached);
/// Throws std::runtime_error when the bus does not answer.
void requestName(GDBusConnection* bus, const std::string& name);

} // namespace DesktopEvents

/// A person's session: a bus of its own, a home, and what the test puts on the bus. The agents on it end with
/// it.
class DesktopSession {
    TemporaryFolder home_{"reminders"};

public:
    DesktopSession();
    DesktopSession(const DesktopSession&) = delete;
    DesktopSession& operator=(const DesktopSession&) = delete;
    ~DesktopSession();

    /// The bus ends, and another one begins.
    void restartBus();
    /// From the next start on, the bus starts the agent of the place by itself.
    void installService();
    GPtr<GDBusConnection> connect() const;
    const std::filesystem::path& home() const { return home_.path(); }

    const ReminderPlace place = {"app.brisko.Test", home() / "state" / "reminders"};

    void allow() const;
    /// The list on disk, as an agent has left it: each due so many minutes ago.
    void leave(const std::vector<std::string>& names, int minutesAgo = 5, std::uint64_t sync = 1) const;
    std::string log() const;

    /// A notification centre of a program that is started by `command`.
    std::unique_ptr<AgentNotificationCenter>
    center(NotificationQuestion& question, std::chrono::milliseconds patience = std::chrono::seconds(20),
           std::vector<std::string> command = {"true"}) const;
    /// The process that has a name on the bus; 0 for none.
    pid_t owner(const std::string& name) const;
    /// Ends an agent as a crash would, and returns once it has left the bus.
    void killAgent() const;

private:
    void startBus();

    GPtr<GTestDBus> bus_;
    GPtr<GDBusConnection> asking_;
};

/// An agent that the test starts itself.
class AgentUnderTest {
public:
    explicit AgentUnderTest(const DesktopSession& session, std::vector<std::string> options = {},
                            std::map<std::string, std::string> environment = {});
    AgentUnderTest(const AgentUnderTest&) = delete;
    AgentUnderTest& operator=(const AgentUnderTest&) = delete;
    ~AgentUnderTest();

    void waitUntilOnBus() const;
    /// Returns the exit status; -1 after a signal.
    int waitForEnd();
    bool hasEnded() const { return hasEnded_; }
    void kill();
    void freeze() const;
    void setDiskFull(bool full) const;
    pid_t id() const { return id_; }

private:
    const DesktopSession& session_;
    GPtr<GSubprocess> process_;
    pid_t id_;
    bool hasEnded_ = false;
};

/// A notification server on the bus, whose screen the test looks at and clicks on.
class NotificationDaemon {
public:
    struct Notification {
        std::string title;
        std::string body;
        std::vector<std::string> actions;
        std::map<std::string, std::string> hints; ///< as text
        std::uint32_t replaced = 0;
    };

    explicit NotificationDaemon(const DesktopSession& session,
                                std::vector<std::string> capabilities = {"actions", "body", "body-markup"});
    NotificationDaemon(const NotificationDaemon&) = delete;
    NotificationDaemon& operator=(const NotificationDaemon&) = delete;
    /// As a crash: without a word.
    ~NotificationDaemon();

    std::vector<Notification> received;
    std::map<std::uint32_t, Notification> onScreen;
    std::function<void()> onNotify; ///< before the answer
    bool isMute = false;            ///< takes notifications, and answers nothing

    std::vector<std::string> titles() const;
    void open(std::uint32_t id, const std::string& token);
    void dismiss(std::uint32_t id);

private:
    static void called(GDBusConnection*, const char*, const char*, const char*, const char* method,
                       GVariant* parameters, GDBusMethodInvocation* invocation, gpointer self);
    void notify(GVariant* parameters, GDBusMethodInvocation* invocation);
    void emit(const char* signal, GVariant* parameters);

    GPtr<GDBusConnection> bus_;
    guint object_ = 0;
    std::vector<std::string> capabilities_;
    std::uint32_t last_ = 0;
};
