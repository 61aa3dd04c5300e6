#include "lock/linux/LogindSession.h"

#include "linux/MainLoop.h"
#include "platform/linux/DBus.h"

#include <gio/gunixfdlist.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

GPtr<GDBusConnection> connectTo(const char* address) {
    return GPtr<GDBusConnection>::take(g_dbus_connection_new_for_address_sync(
        address,
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr));
}

void emit(GDBusConnection* bus, const char* path, const char* interface, const char* member,
          GVariant* arguments) {
    g_dbus_connection_emit_signal(bus, nullptr, path, interface, member, arguments, nullptr);
}

/// logind as far as it is asked: sessions of several people, and inhibitors that are held as long as their
/// other end is open. And a screen saver.
class Login {
public:
    explicit Login(const char* address) : bus_(connectTo(address)) {
        serve("/org/freedesktop/login1", R"xml(<node><interface name="org.freedesktop.login1.Manager">
            <method name="Inhibit"><arg type="s" direction="in"/><arg type="s" direction="in"/>
            <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="h" direction="out"/></method>
            </interface></node>)xml");
        serve("/org/freedesktop/login1/session/auto", R"xml(<node>
            <interface name="org.freedesktop.login1.Session">
            <property name="LockedHint" type="b" access="read"/></interface></node>)xml");
        serve("/org/gnome/ScreenSaver", R"xml(<node><interface name="org.gnome.ScreenSaver">
            <method name="GetActive"><arg type="b" direction="out"/></method></interface></node>)xml");
        for (const auto& [path, user] : users_)
            serve(path.c_str(), R"xml(<node><interface name="org.freedesktop.login1.Session">
                <property name="Id" type="s" access="read"/><property name="User" type="(uo)" access="read"/>
                </interface></node>)xml");
        for (const auto* name : {"org.freedesktop.login1", "org.gnome.ScreenSaver"})
            const GVariantPtr owned(g_dbus_connection_call_sync(
                bus_.get(), "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "RequestName",
                g_variant_new("(su)", name, 0), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    }
    Login(const Login&) = delete;
    Login& operator=(const Login&) = delete;
    ~Login() {
        g_dbus_connection_close_sync(bus_.get(), nullptr, nullptr);
        for (const auto inhibitor : inhibitors_)
            close(inhibitor);
    }

    std::string inhibited; ///< what, by whom and how, the latest
    int asked = 0;         ///< questions about sessions
    bool hint = false;     ///< what it says of the session's being locked
    bool active = false;   ///< what the screen saver says of itself
    int told = 0;          ///< how often either was asked

    GDBusConnection* bus() const { return bus_.get(); }
    static std::string own() { return "/org/freedesktop/login1/session/own"; }
    static std::string other() { return "/org/freedesktop/login1/session/other"; }

    void lock(const std::string& path) const {
        emit(bus_.get(), path.c_str(), "org.freedesktop.login1.Session", "Lock", nullptr);
    }
    void prepareForSleep(bool start) const {
        emit(bus_.get(), "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep",
             g_variant_new("(b)", start));
    }
    /// The inhibitors that are held now.
    int held() const {
        auto count = 0;
        for (const auto inhibitor : inhibitors_) {
            pollfd end = {inhibitor, 0, 0};
            poll(&end, 1, 0);
            count += end.revents & POLLHUP ? 0 : 1;
        }
        return count;
    }

private:
    void serve(const char* path, const char* description) {
        auto* const interfaces = g_dbus_node_info_new_for_xml(description, nullptr);
        const GDBusInterfaceVTable handlers = {called, read, nullptr, {}};
        g_dbus_connection_register_object(bus_.get(), path, interfaces->interfaces[0], &handlers, this,
                                          nullptr, nullptr);
        g_dbus_node_info_unref(interfaces);
    }
    static void called(GDBusConnection*, const char*, const char*, const char*, const char*,
                       GVariant* arguments, GDBusMethodInvocation* call, gpointer data) {
        auto& self = *static_cast<Login*>(data);
        if (std::string(g_dbus_method_invocation_get_method_name(call)) == "GetActive") {
            self.told += 1;
            g_dbus_method_invocation_return_value(call, g_variant_new("(b)", self.active));
            return;
        }
        const char *what = nullptr, *who = nullptr, *mode = nullptr;
        g_variant_get(arguments, "(&s&ss&s)", &what, &who, nullptr, &mode);
        self.inhibited = std::string(what) + " " + who + " " + mode;
        std::array<int, 2> ends{};
        if (pipe(ends.data()) != 0)
            throw std::runtime_error("no pipe");
        self.inhibitors_.push_back(ends[0]);
        const auto files = GPtr<GUnixFDList>::take(g_unix_fd_list_new_from_array(&ends[1], 1));
        g_dbus_method_invocation_return_value_with_unix_fd_list(call, g_variant_new("(h)", 0), files.get());
    }
    static GVariant* read(GDBusConnection*, const char*, const char* path, const char*, const char* name,
                          GError**, gpointer data) {
        auto& self = *static_cast<Login*>(data);
        if (std::string(name) == "Id")
            return g_variant_new_string(path == own() ? "c1" : "c2");
        if (std::string(name) == "LockedHint") {
            self.told += 1;
            return g_variant_new_boolean(self.hint);
        }
        self.asked += 1;
        return g_variant_new("(uo)", self.users_.at(path), "/org/freedesktop/login1/user/x");
    }

    GPtr<GDBusConnection> bus_;
    std::map<std::string, guint32> users_ = {{own(), getuid()}, {other(), getuid() + 1}};
    std::vector<int> inhibitors_;
};

/// One bus that is session and system bus at once.
class LogindSessionTest : public testing::Test {
public:
    LogindSessionTest() {
        g_unsetenv("XDG_SESSION_ID");
        g_test_dbus_up(daemon_.get());
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", address(), TRUE);
        desktop_ = connectTo(address());
    }
    ~LogindSessionTest() override {
        session.reset();
        desktop_ = {};
        g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
        // Only now is nobody left on the bus that waits for it.
        g_test_dbus_down(daemon_.get());
    }

protected:
    int locked = 0;
    std::vector<std::function<void()>> sleeping; ///< what the machine waits for
    std::unique_ptr<Login> login;
    SystemBus system;
    std::unique_ptr<LogindSession> session;

    const char* address() const { return g_test_dbus_get_bus_address(daemon_.get()); }
    void start() {
        session = std::make_unique<LogindSession>(system);
        session->onLocked = [this] { locked += 1; };
        session->onSleep = [this](auto ready) { sleeping.push_back(std::move(ready)); };
        session->start();
    }
    void startWithLogin() {
        login = std::make_unique<Login>(address());
        start();
        waitUntilInhibited();
    }
    void waitUntilInhibited() {
        MainLoop::runUntil([this] { return login->held() == 1; });
    }
    void screenSaver(const char* interface, GVariant* arguments) {
        emit(desktop_.get(), "/ScreenSaver", interface, "ActiveChanged", arguments);
    }
    /// Returns once the session listens to the desktop, having been told of no lock yet.
    void waitUntilListening() {
        MainLoop::runUntil([this] {
            screenSaver("org.gnome.ScreenSaver", g_variant_new("(b)", TRUE));
            return locked > 0;
        });
        hearDesktop();
        locked = 0;
    }
    /// Return once everything that has been said so far has been heard.
    void hearDesktop() {
        const auto own = GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
        hear(own, desktop_.get());
    }
    void hearLogin() { hear(MainLoop::finish(system.connection()), login->bus()); }

private:
    static void hear(GPtr<GDBusConnection> listener, GDBusConnection* speaker) {
        auto heard = false;
        const DBus::Signal mark(listener, {nullptr, nullptr, "app.brisko.Test", "Mark"},
                                [&heard](const char*, GVariant*) { heard = true; });
        // The subscription is a message itself; an answer to a later one tells that the bus has read it.
        const GVariantPtr answer(g_dbus_connection_call_sync(
            listener.get(), "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId", nullptr, nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
        emit(speaker, "/", "app.brisko.Test", "Mark", nullptr);
        MainLoop::runUntil([&heard] { return heard; });
    }

    GPtr<GTestDBus> daemon_ = GPtr<GTestDBus>::take(g_test_dbus_new(G_TEST_DBUS_NONE));
    GPtr<GDBusConnection> desktop_;
};

} // namespace

TEST_F(LogindSessionTest, locksWhenAScreenSaverDoesButNotWhenItEnds) {
    start();
    waitUntilListening();
    for (const auto* saver : {"org.freedesktop.ScreenSaver", "org.gnome.ScreenSaver"}) {
        screenSaver(saver, g_variant_new("(b)", TRUE));
        screenSaver(saver, g_variant_new("(b)", FALSE));
        screenSaver(saver, g_variant_new("(s)", "true"));
        screenSaver(saver, nullptr);
    }
    screenSaver("org.example.Other", g_variant_new("(b)", TRUE));
    hearDesktop();
    EXPECT_EQ(locked, 2);
}

TEST_F(LogindSessionTest, findsOutWhetherTheSessionWasLockedBefore) {
    login = std::make_unique<Login>(address());
    const std::pair<bool, bool> words[] = {{false, false}, {true, false}, {false, true}};
    for (const auto& [active, hint] : words) {
        login->active = active;
        login->hint = hint;
        login->told = locked = 0;
        start();
        MainLoop::runUntil([this] { return login->told == 2; });
        hearLogin();
        hearDesktop();
        EXPECT_EQ(locked, active || hint ? 1 : 0);
        EXPECT_EQ(session->isLocked(), active || hint);
        screenSaver("org.gnome.ScreenSaver", g_variant_new("(b)", FALSE));
        hearDesktop();
        EXPECT_FALSE(session->isLocked());
        screenSaver("org.gnome.ScreenSaver", g_variant_new("(b)", TRUE));
        hearDesktop();
        EXPECT_TRUE(session->isLocked());
    }
}

TEST_F(LogindSessionTest, locksWithThisPersonsSessionsAndNobodyElses) {
    startWithLogin();
    login->lock(Login::other());
    login->lock(Login::own());
    MainLoop::runUntil([this] { return locked == 1; });
    hearLogin();
    EXPECT_EQ(locked, 1);
    // A session of another name that the environment says is this one.
    g_setenv("XDG_SESSION_ID", "c2", TRUE);
    login->lock(Login::other());
    MainLoop::runUntil([this] { return locked == 2; });
    // Nobody knows whose this one is.
    login->lock("/org/freedesktop/login1/session/gone");
    MainLoop::runUntil([this] { return locked == 3; });
}

TEST_F(LogindSessionTest, takesAStormOfRequestsForFewOfThem) {
    startWithLogin();
    constexpr auto storm = 1000;
    for (auto i = 0; i < storm; ++i) {
        login->lock(Login::own());
        login->prepareForSleep(true);
    }
    hearLogin();
    MainLoop::runUntil([this] { return locked > 0; });
    EXPECT_LT(login->asked, storm / 2);
    EXPECT_EQ(sleeping.size(), 1U);
}

TEST_F(LogindSessionTest, holdsTheMachineAwakeUntilItIsReadyAndAgainNextTime) {
    startWithLogin();
    EXPECT_EQ(login->inhibited, "sleep brisko delay");
    for (const auto round : {0U, 1U, 2U}) {
        login->prepareForSleep(true);
        MainLoop::runUntil([&] { return sleeping.size() == round + 1; });
        EXPECT_EQ(login->held(), 1);
        // A word about an earlier sleep, or a second one, changes nothing.
        for (std::size_t i = 0; i < round; ++i)
            sleeping[i]();
        EXPECT_EQ(login->held(), 1);
        sleeping.back()();
        sleeping.back()();
        EXPECT_EQ(login->held(), 0);
        login->prepareForSleep(false);
        waitUntilInhibited();
    }
    // With nobody to ask, there is nothing to wait for.
    session->onSleep = nullptr;
    login->prepareForSleep(true);
    hearLogin();
    EXPECT_EQ(login->held(), 0);
    EXPECT_EQ(locked, 0);
    session.reset();
    sleeping.back()();
}

TEST_F(LogindSessionTest, letsGoAtItsEndAndSurvivesThatOfLogind) {
    startWithLogin();
    login = std::make_unique<Login>(address());
    waitUntilInhibited();
    login->prepareForSleep(true);
    MainLoop::runUntil([this] { return sleeping.size() == 1; });
    session.reset();
    EXPECT_EQ(login->held(), 0);
    login->lock(Login::own());
    hearLogin();
    EXPECT_EQ(locked, 0);
}

TEST_F(LogindSessionTest, hearsTheDesktopWhereThereIsNoSystemBusAndLogindWhenItComes) {
    start();
    waitUntilListening();
    login = std::make_unique<Login>(address());
    waitUntilInhibited();
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", TRUE);
    SystemBus none;
    LogindSession other(none);
    other.onLocked = [this] { locked += 1; };
    other.start();
    waitUntilListening();
}
