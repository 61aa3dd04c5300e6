#include "lock/linux/LogindSession.h"

#include "linux/BusObject.h"
#include "linux/MainLoop.h"
#include "platform/linux/DBus.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace {

constexpr auto saver = "org.gnome.ScreenSaver", login = "org.freedesktop.login1",
               own = "/org/freedesktop/login1/session/own", other = "/org/freedesktop/login1/session/other";

std::string sessionNode(const std::string& path) {
    return "<node name='" + path + R"xml('><interface name="org.freedesktop.DBus.Properties">
        <method name="Get"><arg type="s" direction="in"/><arg type="s" direction="in"/>
        <arg type="v" direction="out"/></method>
        <method name="GetAll"><arg type="s" direction="in"/><arg type="a{sv}" direction="out"/></method>
        </interface></node>)xml";
}
const auto objects = R"xml(<node>
    <node name="/org/gnome/ScreenSaver"><interface name="org.gnome.ScreenSaver">
    <method name="GetActive"><arg type="b" direction="out"/></method></interface></node>
    <node name="/org/freedesktop/login1"><interface name="org.freedesktop.login1.Manager"><method name="Inhibit">
    <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="s" direction="in"/><arg type="h" direction="out"/></method></interface></node>)xml" +
                     sessionNode("/org/freedesktop/login1/session/auto") + sessionNode(own) +
                     sessionNode(other) + "</node>";

/// A screen saver and a logind on one bus that is session and system bus at once.
class LogindSessionTest : public testing::Test {
protected:
    bool active = false;   ///< what the screen saver says of itself
    bool hint = false;     ///< what logind says of the session's being locked
    int told = 0;          ///< how often either was asked
    std::string inhibited; ///< what, by whom, why and how, the latest
    int locked = 0;
    std::vector<std::function<void()>> sleeping; ///< what the machine waits for
    std::unique_ptr<BusObject> desktop;
    SystemBus system;
    std::unique_ptr<LogindSession> session;

    void SetUp() override {
        g_unsetenv("XDG_SESSION_ID");
        g_test_dbus_up(daemon_.get());
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", g_test_dbus_get_bus_address(daemon_.get()), TRUE);
        startDesktop();
    }
    void TearDown() override {
        session.reset();
        desktop.reset();
        g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
        // Only now is nobody left on the bus that waits for it.
        g_test_dbus_down(daemon_.get());
        std::for_each(inhibitors_.begin(), inhibitors_.end(), close);
    }

    /// At first without logind.
    void startDesktop() {
        desktop.reset();
        auto bus = BusObject::connectTo(g_test_dbus_get_bus_address(daemon_.get()));
        const auto called = [this](BusCall call) { answer(std::move(call)); };
        desktop = std::make_unique<BusObject>(std::move(bus), saver, objects, called);
    }
    /// Returns once the session listens and `services` of the two have said how things stand.
    void start(int services) {
        told = locked = 0;
        session = std::make_unique<LogindSession>(system);
        session->onLocked = [this] { locked += 1; };
        session->onSleep = [this](auto ready) { sleeping.push_back(std::move(ready)); };
        session->start();
        MainLoop::runUntil([&] { return told == services && held() == services - 1; });
        hear();
    }
    /// The inhibitors that are held now.
    long held() const {
        return std::count_if(inhibitors_.begin(), inhibitors_.end(), [](int inhibitor) {
            pollfd end = {inhibitor, 0, 0};
            return poll(&end, 1, 0) == 0;
        });
    }
    void lock(const char* path) const { desktop->emit(path, "org.freedesktop.login1.Session", "Lock"); }
    void prepareForSleep(bool start) const {
        desktop->emit("/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep",
                      g_variant_new("(b)", start));
    }
    /// Returns once everything that has been said so far has been heard on both buses: what each of them is
    /// told comes in the order in which the bus has read it.
    void hear() {
        for (const auto& bus :
             {GPtr<GDBusConnection>::share(desktop->bus()),
              GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)),
              MainLoop::finish(system.connection())})
            MainLoop::finish(
                DBus::call(bus, {"org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId"}, {}, {}));
    }

private:
    void answer(BusCall call) {
        told += call.member == "GetActive" || call.member == "Get" ? 1 : 0;
        if (call.member == "GetActive")
            call.answer(g_variant_new("(b)", active));
        else if (call.member == "Get")
            call.answer(g_variant_new("(v)", g_variant_new_boolean(hint)));
        else if (call.member == "Inhibit")
            inhibit(call);
        else
            call.answer(g_variant_new_parsed("({'Id': <%s>, 'User': <(%u, objectpath '/user')>},)",
                                             call.path == own ? "c1" : "c2",
                                             getuid() + (call.path == own ? 0 : 1)));
    }
    void inhibit(BusCall& call) {
        inhibited = GText(g_variant_print(call.arguments, FALSE)).get();
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe(ends.data()), 0);
        inhibitors_.push_back(ends[0]);
        const auto files = GPtr<GUnixFDList>::take(g_unix_fd_list_new_from_array(&ends[1], 1));
        call.answer(g_variant_new("(h)", 0), files.get());
    }

    GPtr<GTestDBus> daemon_ = GPtr<GTestDBus>::take(g_test_dbus_new(G_TEST_DBUS_NONE));
    std::vector<int> inhibitors_;
};

} // namespace

TEST_F(LogindSessionTest, locksWhenAScreenSaverDoesAndFindsOutWhetherTheSessionWasLockedBefore) {
    desktop->own(login);
    for (const auto& [saverActive, loginHint] : {std::pair(false, false), {true, false}, {false, true}}) {
        active = saverActive;
        hint = loginHint;
        start(2);
        EXPECT_EQ(locked, active || hint ? 1 : 0);
        EXPECT_EQ(session->isLocked(), active || hint);
        locked = 0;
        for (const auto* interface : {"org.freedesktop.ScreenSaver", saver, "org.example.Other"})
            for (const auto* now : {"(false,)", "(true,)", "('false',)", "()"})
                desktop->emit("/ScreenSaver", interface, "ActiveChanged", g_variant_new_parsed(now));
        hear();
        EXPECT_EQ(locked, 2);
        EXPECT_TRUE(session->isLocked());
        desktop->emit("/ScreenSaver", saver, "ActiveChanged", g_variant_new("(b)", FALSE));
        hear();
        EXPECT_FALSE(session->isLocked());
    }
}

TEST_F(LogindSessionTest, locksWithThisPersonsSessionsAndNobodyElses) {
    desktop->own(login);
    start(2);
    lock(other);
    lock(own);
    MainLoop::runUntil([this] { return locked > 0; });
    hear();
    EXPECT_EQ(locked, 1);
    const auto hint = [this](const char* changed) {
        desktop->emit(own, "org.freedesktop.DBus.Properties", "PropertiesChanged",
                      g_variant_new_parsed(changed));
    };
    hint("('org.freedesktop.login1.Session', {'LockedHint': <false>}, @as [])");
    hint("('org.freedesktop.login1.Session', {'LockedHint': <true>}, @as [])");
    MainLoop::runUntil([this] { return locked > 1; });
    hear();
    EXPECT_EQ(std::exchange(locked, 1), 2);
    // A session of another name that the environment says is this one, and one of which nobody knows whose it
    // is.
    g_setenv("XDG_SESSION_ID", "c2", TRUE);
    for (const auto* path : {other, "/org/freedesktop/login1/session/gone"}) {
        lock(path);
        MainLoop::runUntil([&] { return locked == (path == other ? 2 : 3); });
    }
}

TEST_F(LogindSessionTest, holdsTheMachineAwakeUntilItIsReadyAndAgainNextTimeWheneverLogindComes) {
    start(1);
    for (auto times = 0; times < 2; ++times) {
        startDesktop();
        MainLoop::runUntil([this] { return held() == 0; });
        desktop->own(login);
        MainLoop::runUntil([this] { return held() == 1; });
    }
    EXPECT_EQ(inhibited, "('sleep', 'brisko', 'The window locks before the machine sleeps', 'delay')");
    for (const auto round : {1U, 2U, 3U}) {
        prepareForSleep(true);
        prepareForSleep(true);
        MainLoop::runUntil([&] { return sleeping.size() == round; });
        hear();
        EXPECT_EQ(sleeping.size(), round);
        // A word about an earlier sleep changes nothing.
        for (auto earlier = 0U; earlier < round - 1; ++earlier)
            sleeping[earlier]();
        EXPECT_EQ(held(), 1);
        if (round == 3) // it lets go at its end
            session.reset();
        sleeping.back()();
        EXPECT_EQ(held(), 0);
        prepareForSleep(false);
        lock(own);
        if (round < 3)
            MainLoop::runUntil([&] { return held() == 1 && locked == static_cast<int>(round); });
    }
    hear();
    EXPECT_EQ(held(), 0);
    EXPECT_EQ(locked, 2);
}
