#include "lock/linux/KeyringDaemon.h"

#include "linux/MainLoop.h"

#include <sys/prctl.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace {

constexpr auto busName = "org.freedesktop.secrets";

[[noreturn]] void fail(const char* what, GError* error) {
    throw std::runtime_error(std::string(what) + ": " + GErrorPtr(error)->message);
}

void prepareChild(gpointer) {
    // On a full disk, a write fails; it does not end the daemon.
    std::signal(SIGXFSZ, SIG_IGN);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

} // namespace

KeyringDaemon::KeyringDaemon(Login login) : login_(login) {
    start();
}

KeyringDaemon::~KeyringDaemon() {
    kill();
}

void KeyringDaemon::start() {
    const auto launcher = GPtr<GSubprocessLauncher>::take(g_subprocess_launcher_new(
        static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_SILENCE |
                                      G_SUBPROCESS_FLAGS_STDERR_SILENCE)));
    const auto home = home_.path().string();
    for (const auto* name : {"HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"})
        g_subprocess_launcher_setenv(launcher.get(), name, home.c_str(), TRUE);
    g_subprocess_launcher_unsetenv(launcher.get(), "DISPLAY");
    g_subprocess_launcher_unsetenv(launcher.get(), "WAYLAND_DISPLAY");
    if (!prompter_.empty())
        g_subprocess_launcher_setenv(launcher.get(), "GNOME_KEYRING_TEST_PROMPTER", prompter_.c_str(), TRUE);
    g_subprocess_launcher_set_child_setup(launcher.get(), prepareChild, nullptr, nullptr);

    GError* error = nullptr;
    const auto* unlock = login_ == Login::opened ? "--unlock" : nullptr;
    process_ = GPtr<GSubprocess>::take(g_subprocess_launcher_spawn(launcher.get(), &error,
                                                                   "gnome-keyring-daemon", "--foreground",
                                                                   "--components=secrets", unlock, nullptr));
    if (!process_)
        fail("the keyring daemon does not start", error);
    auto* input = g_subprocess_get_stdin_pipe(process_.get());
    if (unlock)
        g_output_stream_write_all(input, password, strlen(password), nullptr, nullptr, nullptr);
    g_output_stream_close(input, nullptr, nullptr);
    waitForName(true);
}

void KeyringDaemon::kill() {
    if (!process_)
        return;
    g_subprocess_force_exit(process_.get());
    g_subprocess_wait(process_.get(), nullptr, nullptr);
    process_ = GPtr<GSubprocess>();
    waitForName(false);
}

void KeyringDaemon::freeze() {
    g_subprocess_send_signal(process_.get(), SIGSTOP);
}

void KeyringDaemon::thaw() {
    g_subprocess_send_signal(process_.get(), SIGCONT);
}

void KeyringDaemon::lock() {
    GError* error = nullptr;
    const auto bus = GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error));
    const char* collections[] = {"/org/freedesktop/secrets/collection/login", nullptr};
    const GVariantPtr reply(g_dbus_connection_call_sync(
        bus.get(), busName, "/org/freedesktop/secrets", "org.freedesktop.Secret.Service", "Lock",
        g_variant_new("(^ao)", collections), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
    if (!reply)
        fail("the keyring cannot be locked", error);
}

void KeyringDaemon::setDiskFull(bool full) {
    const rlim_t limit = full ? 0 : RLIM_INFINITY;
    const rlimit size = {limit, RLIM_INFINITY};
    if (prlimit(id(), RLIMIT_FSIZE, &size, nullptr) != 0)
        throw std::runtime_error("the daemon's disk cannot be filled");
}

int KeyringDaemon::id() const {
    return std::atoi(g_subprocess_get_identifier(process_.get()));
}

void KeyringDaemon::waitForName(bool present) {
    struct State {
        bool known = false;
        bool present = false;
    } state;
    const auto appeared = [](GDBusConnection*, const char*, const char*, gpointer data) {
        *static_cast<State*>(data) = {true, true};
    };
    const auto vanished = [](GDBusConnection*, const char*, gpointer data) {
        *static_cast<State*>(data) = {true, false};
    };
    const auto watch = g_bus_watch_name(G_BUS_TYPE_SESSION, busName, G_BUS_NAME_WATCHER_FLAGS_NONE, appeared,
                                        vanished, &state, nullptr);
    MainLoop::runUntil([&] { return state.known && state.present == present; });
    g_bus_unwatch_name(watch);
}
