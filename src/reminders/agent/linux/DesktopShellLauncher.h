#pragma once

#include "platform/Task.h"
#include "platform/linux/GPtr.h"
#include "reminders/agent/AgentPorts.h"

#include <gio/gio.h>

#include <string>
#include <vector>

/// Asks the running program, by an action of its application on the session bus, to come forward; starts it
/// where it does not run, by the command that the program has left, or else by its desktop entry.
class DesktopShellLauncher : public ShellLauncher {
public:
    DesktopShellLauncher(GPtr<GDBusConnection> bus, std::string applicationId);

    void open(std::vector<std::string> command, std::string token) override;

private:
    static Task<> activate(GPtr<GDBusConnection> bus, std::string applicationId,
                           std::vector<std::string> command, std::string token);

    GPtr<GDBusConnection> bus_;
    std::string applicationId_;
};
