#pragma once

#include "platform/NotificationCenter.h"
#include "platform/NotificationQuestion.h"
#include "platform/Turns.h"
#include "platform/linux/GPtr.h"
#include "reminders/linux/AgentProcess.h"
#include "reminders/linux/PermissionFile.h"
#include "reminders/linux/ReminderPlace.h"

#include <gio/gio.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

/// The notification centre that the agent of the reminders is, over the session bus, on the main loop. The
/// desktop has none that shows a notification later.
///
/// The agent is started by the bus or, where that does not know it, by this; one that ends in the middle of a
/// call is asked once more. Without a session bus, and where the agent cannot be had, nothing is pending.
///
/// There is one call at a time, as a bus takes only so many. Those that wait behind one that is not answered
/// in time end with it.
///
/// The permission is kept in a file beside the reminders. It is denied where nothing on the bus shows
/// notifications, but reminders are taken all the same: what shows them may be back when they are due.
class AgentNotificationCenter : public NotificationCenter {
public:
    struct Options {
        ReminderPlace place;
        /// Starts this program, in this profile: the program's file and its arguments.
        std::vector<std::string> command;
        std::filesystem::path agent = AgentProcess::usualProgram();
        /// How long the agent may take over an answer: a generous time for what takes milliseconds.
        std::chrono::milliseconds patience = AgentProcess::usualPatience;
    };

    /// The bus may be null, where there is none; the question outlives the centre.
    AgentNotificationCenter(GPtr<GDBusConnection> bus, Options options, NotificationQuestion& question);
    ~AgentNotificationCenter() override;
    AgentNotificationCenter(const AgentNotificationCenter&) = delete;
    AgentNotificationCenter& operator=(const AgentNotificationCenter&) = delete;

    const ReminderPlace& place() const { return options_.place; }

    /// Adds the action to the application by which the agent tells of an opened notification. The toolkit
    /// takes the token that comes with it, so that the window may take the focus. A program that is started
    /// by the agent hears nothing: it shows its window anyway.
    void listen(GActionMap* application);

    Task<NotificationPermission> permission() override;
    Task<NotificationPermission> requestPermission() override;
    Task<NotificationPermission> reconsiderPermission() override;
    Task<std::vector<std::string>> pendingIdentifiers() override;
    Task<Replaced> replace(std::string prefix, std::vector<NotificationRequest> requests) override;

    /// Ends every open call as if there were no agent before it returns; later ones end the same way. Runs
    /// the main context for as long as that takes. The destructor does this too. A question that is open
    /// stays so.
    void cancelAll();

private:
    Task<bool> isShownAnywhere();
    Task<GVariantPtr> askBus(const char* method, GVariantPtr parameters);
    Task<GVariantPtr> callAgent(const char* method, GVariantPtr parameters, GPtr<GUnixFDList> files);
    bool isAnythingStored() const;

    GPtr<GDBusConnection> bus_;
    Options options_;
    NotificationQuestion& question_;
    PermissionFile permission_;
    GPtr<GCancellable> ending_;
    std::unique_ptr<AgentProcess> agent_; ///< null without a bus
    SignalConnection opened_;
    Turns turns_;
    int open_ = 0;
    int lateAnswers_ = 0;
};
