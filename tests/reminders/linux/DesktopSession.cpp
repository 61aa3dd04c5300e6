#include "reminders/linux/DesktopSession.h"

#include "linux/MainLoop.h"
#include "platform/linux/DurableFile.h"
#include "platform/linux/SystemClock.h"
#include "reminders/linux/PermissionFile.h"
#include "reminders/linux/SystemTimeZone.h"

#include <sys/prctl.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace {

using namespace std::chrono_literals;

constexpr auto notificationXml = R"(
<node><interface name="org.freedesktop.Notifications">
  <method name="GetCapabilities"><arg type="as" direction="out"/></method>
  <method name="CloseNotification"><arg type="u" direction="in"/></method>
  <method name="Notify">
    <arg type="s" direction="in"/><arg type="u" direction="in"/><arg type="s" direction="in"/>
    <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="as" direction="in"/>
    <arg type="a{sv}" direction="in"/><arg type="i" direction="in"/><arg type="u" direction="out"/>
  </method>
</interface></node>)";

GVariantPtr askBus(GDBusConnection* bus, const char* method, const std::string& name) {
    return GVariantPtr(g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
        g_variant_new("(s)", name.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
}

} // namespace

void DesktopEvents::poll(const std::function<bool()>& isReached) {
    const auto waking = g_timeout_add(2, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    MainLoop::runUntil(isReached);
    g_source_remove(waking);
}

void DesktopEvents::requestName(GDBusConnection* bus, const std::string& name) {
    const GVariantPtr reply(g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", name.c_str(), 0), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    if (!reply)
        throw std::runtime_error("there is no bus for " + name);
}

DesktopSession::DesktopSession() {
    DurableFile::makePrivateFolder(place.folder);
    std::filesystem::create_directory(home() / "services");
    startBus();
}

DesktopSession::~DesktopSession() {
    asking_ = GPtr<GDBusConnection>();
    g_test_dbus_stop(bus_.get());
}

void DesktopSession::startBus() {
    bus_ = GPtr<GTestDBus>::take(g_test_dbus_new(G_TEST_DBUS_NONE));
    g_test_dbus_add_service_dir(bus_.get(), (home() / "services").c_str());
    g_test_dbus_up(bus_.get());
    asking_ = connect();
}

void DesktopSession::restartBus() {
    asking_ = GPtr<GDBusConnection>();
    g_test_dbus_stop(bus_.get());
    startBus();
}

void DesktopSession::installService() {
    std::ofstream(home() / "services" / (place.busName() + ".service"))
        << "[D-BUS Service]\nName=" << place.busName() << "\nExec=" << BRISKO_REMINDERS
        << " --application-id " << place.applicationId << " --state " << place.folder.string() << "\n";
    restartBus();
}

GPtr<GDBusConnection> DesktopSession::connect() const {
    GError* error = nullptr;
    auto connection = GPtr<GDBusConnection>::take(g_dbus_connection_new_for_address_sync(
        g_test_dbus_get_bus_address(bus_.get()),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    if (!connection)
        throw std::runtime_error(GErrorPtr(error)->message);
    return connection;
}

void DesktopSession::allow() const {
    PermissionFile(place.permissionFile()).write(NotificationPermission::authorized);
}

void DesktopSession::leave(const std::vector<std::string>& names, int minutesAgo, std::uint64_t sync) const {
    const auto now = std::chrono::floor<std::chrono::seconds>(SystemClock().now());
    const auto due = now - std::chrono::minutes(minutesAgo);
    PendingList list;
    list.sync = sync;
    list.command = {"true"};
    for (const auto& name : names) {
        NotificationRequest request = {
            "brisko.task." + name, name, {}, 0, LocalTime::minuteOf(due, SystemTimeZone())};
        list.reminders.push_back({request, due - 1h});
    }
    DurableFile::write(place.pendingFile(), list.encode());
}

std::string DesktopSession::log() const {
    return DurableFile::read(place.logFile()).value_or("");
}

std::unique_ptr<AgentNotificationCenter> DesktopSession::center(NotificationQuestion& question,
                                                                std::chrono::milliseconds patience,
                                                                std::vector<std::string> command) const {
    AgentNotificationCenter::Options options = {place, std::move(command), BRISKO_REMINDERS, patience};
    return std::make_unique<AgentNotificationCenter>(connect(), options, question);
}

pid_t DesktopSession::owner(const std::string& name) const {
    const auto reply = askBus(asking_.get(), "GetConnectionUnixProcessID", name);
    guint32 id = 0;
    if (reply)
        g_variant_get(reply.get(), "(u)", &id);
    return static_cast<pid_t>(id);
}

void DesktopSession::killAgent() const {
    if (const auto id = owner(place.busName())) {
        ::kill(id, SIGKILL);
        DesktopEvents::poll([&] { return owner(place.busName()) != id; });
    }
}

AgentUnderTest::AgentUnderTest(const DesktopSession& session, std::vector<std::string> options,
                               std::map<std::string, std::string> environment)
    : session_(session) {
    const auto launcher = GPtr<GSubprocessLauncher>::take(g_subprocess_launcher_new(G_SUBPROCESS_FLAGS_NONE));
    for (const auto& [name, value] : environment)
        g_subprocess_launcher_setenv(launcher.get(), name.c_str(), value.c_str(), TRUE);
    const auto prepare = [](gpointer) {
        std::signal(SIGXFSZ, SIG_IGN); // on a full disk, a write fails; it does not end the agent
        prctl(PR_SET_PDEATHSIG, SIGKILL);
    };
    g_subprocess_launcher_set_child_setup(launcher.get(), prepare, nullptr, nullptr);
    const auto folder = session.place.folder.string();
    std::vector<const char*> arguments = {BRISKO_REMINDERS, "--application-id",
                                          session.place.applicationId.c_str(), "--state", folder.c_str()};
    for (const auto& each : options)
        arguments.push_back(each.c_str());
    arguments.push_back(nullptr);
    process_ =
        GPtr<GSubprocess>::take(g_subprocess_launcher_spawnv(launcher.get(), arguments.data(), nullptr));
    if (!process_)
        throw std::runtime_error("the agent does not start");
    id_ = std::atoi(g_subprocess_get_identifier(process_.get()));
}

AgentUnderTest::~AgentUnderTest() {
    kill();
}

void AgentUnderTest::waitUntilOnBus() const {
    DesktopEvents::poll([&] { return session_.owner(session_.place.busName()) == id_; });
}

int AgentUnderTest::waitForEnd() {
    DesktopEvents::poll([&] { return g_subprocess_get_identifier(process_.get()) == nullptr; });
    hasEnded_ = true;
    return g_subprocess_get_if_exited(process_.get()) ? g_subprocess_get_exit_status(process_.get()) : -1;
}

void AgentUnderTest::kill() {
    if (hasEnded_)
        return;
    g_subprocess_force_exit(process_.get());
    g_subprocess_wait(process_.get(), nullptr, nullptr);
    hasEnded_ = true;
}

void AgentUnderTest::freeze() const {
    g_subprocess_send_signal(process_.get(), SIGSTOP);
}

void AgentUnderTest::setDiskFull(bool full) const {
    const rlim_t limit = full ? 0 : RLIM_INFINITY;
    const rlimit size = {limit, RLIM_INFINITY};
    if (prlimit(id_, RLIMIT_FSIZE, &size, nullptr) != 0)
        throw std::runtime_error("the agent's disk cannot be filled");
}

NotificationDaemon::NotificationDaemon(const DesktopSession& session, std::vector<std::string> capabilities)
    : bus_(session.connect()), capabilities_(std::move(capabilities)) {
    static const GDBusInterfaceVTable methods = {called, nullptr, nullptr, {}};
    auto* node = g_dbus_node_info_new_for_xml(notificationXml, nullptr);
    object_ = g_dbus_connection_register_object(bus_.get(), "/org/freedesktop/Notifications",
                                                node->interfaces[0], &methods, this, nullptr, nullptr);
    g_dbus_node_info_unref(node);
    DesktopEvents::requestName(bus_.get(), "org.freedesktop.Notifications");
}

NotificationDaemon::~NotificationDaemon() {
    g_dbus_connection_unregister_object(bus_.get(), object_);
    g_dbus_connection_close_sync(bus_.get(), nullptr, nullptr);
}

std::vector<std::string> NotificationDaemon::titles() const {
    std::vector<std::string> result;
    for (const auto& notification : received)
        result.push_back(notification.title);
    return result;
}

void NotificationDaemon::open(std::uint32_t id, const std::string& token) {
    if (!token.empty())
        emit("ActivationToken", g_variant_new("(us)", id, token.c_str()));
    emit("ActionInvoked", g_variant_new("(us)", id, "default"));
}

void NotificationDaemon::dismiss(std::uint32_t id) {
    onScreen.erase(id);
    constexpr guint32 byThePerson = 2;
    emit("NotificationClosed", g_variant_new("(uu)", id, byThePerson));
}

void NotificationDaemon::emit(const char* signal, GVariant* parameters) {
    g_dbus_connection_emit_signal(bus_.get(), nullptr, "/org/freedesktop/Notifications",
                                  "org.freedesktop.Notifications", signal, parameters, nullptr);
}

void NotificationDaemon::called(GDBusConnection*, const char*, const char*, const char*, const char* method,
                                GVariant* parameters, GDBusMethodInvocation* invocation, gpointer self) {
    auto& daemon = *static_cast<NotificationDaemon*>(self);
    if (method == std::string("GetCapabilities")) {
        GVariantBuilder names;
        g_variant_builder_init(&names, G_VARIANT_TYPE("as"));
        for (const auto& name : daemon.capabilities_)
            g_variant_builder_add(&names, "s", name.c_str());
        g_dbus_method_invocation_return_value(invocation, g_variant_new("(as)", &names));
    } else if (method == std::string("CloseNotification")) {
        guint32 id = 0;
        g_variant_get(parameters, "(u)", &id);
        daemon.dismiss(id);
        g_dbus_method_invocation_return_value(invocation, nullptr);
    } else {
        daemon.notify(parameters, invocation);
    }
}

void NotificationDaemon::notify(GVariant* parameters, GDBusMethodInvocation* invocation) {
    Notification notification;
    const char* title = nullptr;
    const char* body = nullptr;
    GVariantIter* actions = nullptr;
    GVariantIter* hints = nullptr;
    g_variant_get(parameters, "(&su&s&s&sasa{sv}i)", nullptr, &notification.replaced, nullptr, &title, &body,
                  &actions, &hints, nullptr);
    notification.title = title;
    notification.body = body;
    const char* text = nullptr;
    while (g_variant_iter_next(actions, "&s", &text))
        notification.actions.emplace_back(text);
    GVariant* value = nullptr;
    while (g_variant_iter_next(hints, "{&sv}", &text, &value)) {
        const GVariantPtr owner(value);
        notification.hints[text] = GText(g_variant_print(value, FALSE)).get();
    }
    g_variant_iter_free(actions);
    g_variant_iter_free(hints);
    received.push_back(notification);
    if (onNotify)
        onNotify();
    if (isMute) {
        g_object_unref(invocation);
        return;
    }
    const auto id = notification.replaced != 0 ? notification.replaced : ++last_;
    onScreen[id] = notification;
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(u)", id));
}
