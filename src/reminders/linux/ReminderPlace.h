#pragma once

#include <filesystem>
#include <string>

/// Where the program and the agent of its reminders meet: one place for each profile, so that two profiles
/// never touch each other's reminders.
struct ReminderPlace {
    static constexpr const char* objectPath = "/app/brisko/Reminders";
    static constexpr const char* interfaceName = "app.brisko.Reminders1";
    /// The action of the running program that the agent calls when a notification has been opened.
    static constexpr const char* openedAction = "notification-opened";

    std::string applicationId;    ///< of the program, which is its name on the session bus
    std::filesystem::path folder; ///< of all files below; the program makes it, and so does the agent

    /// The agent's name on the session bus: one for each folder, also where the person's own is elsewhere for
    /// one program (XDG_STATE_HOME) and not for the next. The bus starts the one in the usual folder by
    /// itself.
    std::string busName() const;
    /// Written by the agent, and gone when nothing has been replaced by nothing.
    std::filesystem::path pendingFile() const { return folder / "pending.json"; }
    std::filesystem::path logFile() const { return folder / "deliveries.log"; }
    std::filesystem::path lockFile() const { return folder / "lock"; }
    /// Written by the program, read by both.
    std::filesystem::path permissionFile() const { return folder / "permission.json"; }
};
