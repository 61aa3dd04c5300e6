#include "reminders/agent/linux/DesktopShellLauncher.h"

#include "platform/linux/GAsync.h"
#include "platform/linux/Profile.h"
#include "reminders/linux/ReminderPlace.h"

#include <gio/gdesktopappinfo.h>

#include <algorithm>
#include <utility>

namespace {

/// The names under which the two display systems pass the token on, to a running program and to a new one.
constexpr const char* platformData[] = {"activation-token", "desktop-startup-id"};
constexpr const char* variables[] = {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"};

struct StringsFree {
    void operator()(char** strings) const { g_strfreev(strings); }
};
using Strings = std::unique_ptr<char*, StringsFree>;

/// As GApplication derives it from the application id.
std::string objectPathOf(std::string applicationId) {
    std::replace(applicationId.begin(), applicationId.end(), '.', '/');
    std::replace(applicationId.begin(), applicationId.end(), '-', '_');
    return "/" + applicationId;
}

GVariant* activationOf(const std::string& token) {
    GVariantBuilder data;
    g_variant_builder_init(&data, G_VARIANT_TYPE("a{sv}"));
    if (!token.empty())
        for (const auto* name : platformData)
            g_variant_builder_add(&data, "{sv}", name, g_variant_new_string(token.c_str()));
    return g_variant_new("(sava{sv})", ReminderPlace::openedAction, nullptr, &data);
}

bool startByCommand(const std::vector<std::string>& command, const std::string& token) {
    if (command.empty())
        return false;
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const auto& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    auto* environment = g_get_environ();
    for (const auto* name : variables)
        environment = token.empty() ? g_environ_unsetenv(environment, name)
                                    : g_environ_setenv(environment, name, token.c_str(), TRUE);
    const Strings owner(environment);
    const auto flags = static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL |
                                                G_SPAWN_STDERR_TO_DEV_NULL);
    return g_spawn_async(nullptr, arguments.data(), environment, flags, nullptr, nullptr, nullptr, nullptr);
}

void startByDesktopEntry(const std::string& token) {
    const auto entry = std::string(Profile::userApplicationId) + ".desktop";
    const auto program = GPtr<GDesktopAppInfo>::take(g_desktop_app_info_new(entry.c_str()));
    if (!program)
        return;
    const auto context = GPtr<GAppLaunchContext>::take(g_app_launch_context_new());
    if (!token.empty())
        for (const auto* name : variables)
            g_app_launch_context_setenv(context.get(), name, token.c_str());
    g_app_info_launch(G_APP_INFO(program.get()), nullptr, context.get(), nullptr);
}

} // namespace

DesktopShellLauncher::DesktopShellLauncher(GPtr<GDBusConnection> bus, std::string applicationId)
    : bus_(std::move(bus)), applicationId_(std::move(applicationId)) {}

void DesktopShellLauncher::open(std::vector<std::string> command, std::string token) {
    spawn(activate(bus_, applicationId_, std::move(command), std::move(token)));
}

Task<> DesktopShellLauncher::activate(GPtr<GDBusConnection> bus, std::string applicationId,
                                      std::vector<std::string> command, std::string token) {
    GAsync calling;
    g_dbus_connection_call(bus.get(), applicationId.c_str(), objectPathOf(applicationId).c_str(),
                           "org.freedesktop.Application", "ActivateAction", activationOf(token), nullptr,
                           G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, GAsync::ready, &calling);
    const auto result = co_await calling;
    GError* error = nullptr;
    const GVariantPtr reply(g_dbus_connection_call_finish(bus.get(), result.get(), &error));
    const GErrorPtr failure(error);
    // One that runs and does not answer is left alone: another start would only wait for it too.
    const auto runs = !failure || g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT);
    if (!runs && !startByCommand(command, token) && applicationId == Profile::userApplicationId)
        startByDesktopEntry(token);
}
