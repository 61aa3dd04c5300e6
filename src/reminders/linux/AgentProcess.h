#pragma once

#include "platform/Task.h"
#include "platform/linux/GPtr.h"
#include "platform/linux/OneShotTimer.h"
#include "reminders/linux/ReminderPlace.h"

#include <gio/gio.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <vector>

/// The agent of one profile, where the bus does not start it by itself: that does so for the installed
/// program in the person's own profile only.
///
/// While the program runs, an agent that has been killed is started again as long as reminders are pending;
/// so it is when the program starts.
class AgentProcess {
public:
    /// How long an agent may take until it is on the bus.
    static constexpr std::chrono::seconds usualPatience{20};
    /// Between two times of bringing back an agent that does not stay.
    static constexpr std::chrono::seconds pause{10};

    AgentProcess(GPtr<GDBusConnection> bus, ReminderPlace place, std::filesystem::path program,
                 std::chrono::milliseconds patience = usualPatience);
    ~AgentProcess();
    AgentProcess(const AgentProcess&) = delete;
    AgentProcess& operator=(const AgentProcess&) = delete;

    /// Beside this program in a build folder, in the folder for helper programs once installed.
    static std::filesystem::path usualProgram();

    /// Starts the agent, unless that is under way. True once it is on the bus; false when it ends before, or
    /// takes too long.
    Task<bool> start();
    /// Ends what waits for a start, as failed; none succeeds from now on. The agent goes on.
    void end();

private:
    enum class Mode { always, ifPending };
    using Waiter = std::shared_ptr<Completion<bool>>;

    static void appeared(GDBusConnection*, const char*, const char*, gpointer self);
    static void vanished(GDBusConnection*, const char*, gpointer self);
    static void exited(GObject* process, GAsyncResult* result, gpointer self);
    void launch(Mode mode);
    void launchForWaiting();
    void bringBack();
    void settle(bool isThere);

    GPtr<GDBusConnection> bus_;
    ReminderPlace place_;
    std::filesystem::path program_;
    std::chrono::milliseconds patience_;
    guint watch_ = 0;
    GPtr<GSubprocess> process_; ///< that this has started, until it ends
    bool isForWaiting_ = false; ///< whether it has been started for those that wait
    bool isThere_ = false;
    bool hasEnded_ = false;
    std::vector<Waiter> waiting_;
    OneShotTimer late_;
    OneShotTimer pausing_;
    std::chrono::steady_clock::time_point broughtBack_;
    std::shared_ptr<AgentProcess*> self_; ///< a process that ends later holds it weakly
};
