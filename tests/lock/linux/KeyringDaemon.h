#pragma once

#include "platform/linux/GPtr.h"
#include "platform/linux/TemporaryFolder.h"

#include <gio/gio.h>

#include <string>

/// A real keyring daemon, with a home of its own, on the session bus of this process. It keeps its keyrings
/// when it is killed and started again, and ends with its owner.
class KeyringDaemon {
public:
    enum class Login {
        opened, ///< the login keyring is there and open, as after a login with a password
        none    ///< the daemon has been started by the bus, and nobody has a keyring
    };

    static constexpr auto password = "password of the login keyring";

    explicit KeyringDaemon(Login login = Login::opened);
    KeyringDaemon(const KeyringDaemon&) = delete;
    KeyringDaemon& operator=(const KeyringDaemon&) = delete;
    ~KeyringDaemon();

    /// Returns once the daemon is on the bus.
    void start();
    /// Ends the daemon as a crash would (SIGKILL), and returns once it has left the bus.
    void kill();
    /// Leaves it on the bus without an answer to anything (SIGSTOP), and lets it go on (SIGCONT).
    void freeze();
    void thaw();
    /// Locks the login keyring.
    void lock();
    /// From now on its disk is full, or no longer so.
    void setDiskFull(bool full);
    /// Has its prompts go to this bus name; takes effect with the next start.
    void setPrompter(std::string name) { prompter_ = std::move(name); }

private:
    void waitForName(bool present);
    int id() const;

    Login login_;
    TemporaryFolder home_{"keyring"};
    std::string prompter_;
    GPtr<GSubprocess> process_;
};
