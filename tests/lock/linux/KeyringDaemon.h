#pragma once

#include "lock/linux/BusName.h"
#include "platform/linux/GPtr.h"
#include "platform/linux/TemporaryFolder.h"

#include <gio/gio.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
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

    /// Its prompts go to the bus name of a prompter.
    explicit KeyringDaemon(Login login = Login::opened, std::string prompter = "")
        : login_(login), prompter_(std::move(prompter)) {
        start();
    }
    KeyringDaemon(const KeyringDaemon&) = delete;
    KeyringDaemon& operator=(const KeyringDaemon&) = delete;
    ~KeyringDaemon() { kill(); }

    /// Returns once the daemon is on the bus.
    void start() {
        const auto launcher = GPtr<GSubprocessLauncher>::take(g_subprocess_launcher_new(
            static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_SILENCE |
                                          G_SUBPROCESS_FLAGS_STDERR_SILENCE)));
        for (const auto* name : {"HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME"})
            g_subprocess_launcher_setenv(launcher.get(), name, home_.path().c_str(), TRUE);
        g_subprocess_launcher_unsetenv(launcher.get(), "DISPLAY");
        if (!prompter_.empty())
            g_subprocess_launcher_setenv(launcher.get(), "GNOME_KEYRING_TEST_PROMPTER", prompter_.c_str(),
                                         TRUE);
        const auto prepare = [](gpointer) {
            // On a full disk, a write fails; it does not end the daemon.
            std::signal(SIGXFSZ, SIG_IGN);
            prctl(PR_SET_PDEATHSIG, SIGKILL);
        };
        g_subprocess_launcher_set_child_setup(launcher.get(), prepare, nullptr, nullptr);
        GError* error = nullptr;
        const auto* unlock = login_ == Login::opened ? "--unlock" : nullptr;
        process_ = GPtr<GSubprocess>::take(
            g_subprocess_launcher_spawn(launcher.get(), &error, "gnome-keyring-daemon", "--foreground",
                                        "--components=secrets", unlock, nullptr));
        check(error);
        auto* input = g_subprocess_get_stdin_pipe(process_.get());
        if (unlock)
            g_output_stream_write_all(input, password, strlen(password), nullptr, nullptr, nullptr);
        g_output_stream_close(input, nullptr, nullptr);
        waitForName(G_BUS_TYPE_SESSION, name, Presence::present);
    }
    /// Ends the daemon as a crash would (SIGKILL), and returns once it has left the bus.
    void kill() {
        if (!process_)
            return;
        g_subprocess_force_exit(process_.get());
        g_subprocess_wait(process_.get(), nullptr, nullptr);
        process_ = {};
        waitForName(G_BUS_TYPE_SESSION, name, Presence::absent);
    }
    /// Leaves it on the bus without an answer to anything; returns once it has stopped.
    void stop() const {
        siginfo_t stopped;
        ::kill(id(), SIGSTOP);
        waitid(P_PID, static_cast<id_t>(id()), &stopped, WSTOPPED | WNOWAIT);
    }
    void goOn() const { ::kill(id(), SIGCONT); }
    /// Locks the login keyring.
    void lock() const {
        GError* error = nullptr;
        const char* collections[] = {"/org/freedesktop/secrets/collection/login", nullptr};
        const GVariantPtr reply(g_dbus_connection_call_sync(
            bus_.get(), name, "/org/freedesktop/secrets", "org.freedesktop.Secret.Service", "Lock",
            g_variant_new("(^ao)", collections), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
        check(error);
    }
    /// From now on its disk takes so many bytes of a file.
    void setDisk(rlim_t bytes) {
        const rlimit size = {bytes, RLIM_INFINITY};
        if (prlimit(id(), RLIMIT_FSIZE, &size, nullptr) != 0)
            throw std::runtime_error("the daemon's disk cannot be limited");
    }

private:
    static constexpr auto name = "org.freedesktop.secrets";

    pid_t id() const { return std::atoi(g_subprocess_get_identifier(process_.get())); }
    static void check(GError* error) {
        if (error)
            throw std::runtime_error(GErrorPtr(error)->message);
    }

    /// Kept open as the program keeps its own: a call that is cancelled while the connection is only being
    /// made takes the next call with it.
    GPtr<GDBusConnection> bus_ =
        GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    Login login_;
    std::string prompter_;
    TemporaryFolder home_{"keyring"};
    GPtr<GSubprocess> process_;
};
