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
               manager = "/org/freedesktop/login1", own = "/org/freedesktop/login1/session/own",
               other = "/org/freedesktop/login1/session/other";
std::string sessionNode(const std::string& path) {
    return "<node name='" + path +
           "'><interface name='org.freedesktop.login1.Session'>"
           "<property name='LockedHint' type='b' access='read'/></interface></node>";
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
    bool active = false;           ///< what the screen saver says of itself
    bool hint = false;             ///< what logind says of the session's being locked
    int told = 0;                  ///< how often either was asked
    std::string inhibited;         ///< what, by whom, why and how, the latest
    bool thoughtful = false;       ///< logind does not say yet whose session one is
    std::vector<BusCall> thinking; ///< the questions that it thinks about
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
        thinking.clear();
        desktop.reset();
        g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
        // Only now is nobody left on the bus that waits for it.
        g_test_dbus_down(daemon_.get());
        std::for_each(inhibitors_.begin(), inhibitors_.end(), close);
    }

    /// At first without logind.
    void startDesktop() {
        desktop.reset();
        desktop =
            std::make_unique<BusObject>(BusObject::connectTo(g_test_dbus_get_bus_address(daemon_.get())),
                                        saver, objects, [this](BusCall call) { answer(std::move(call)); });
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
            return poll(&end, 1, 0) == 0 || !(end.revents & POLLHUP);
        });
    }
    void lock(const char* path) const { desktop->emit(path, "org.freedesktop.login1.Session", "Lock"); }
    void prepareForSleep(bool start) const {
        desktop->emit(manager, "org.freedesktop.login1.Manager", "PrepareForSleep",
                      g_variant_new("(b)", start));
    }
    /// Returns once everything that has been said so far has been heard on both buses: what each of them is
    /// told comes in the order in which the bus has read it.
    void hear() {
        const DBus::Method getId = {"org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId"};
        for (const auto& bus :
             {GPtr<GDBusConnection>::share(desktop->bus()),
              GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)),
              MainLoop::finish(system.connection())})
            if (bus)
                MainLoop::finish(DBus::call(bus, getId, {}, {}));
    }

private:
    void answer(BusCall call) {
        told += call.member == "GetActive" || call.member == "LockedHint" ? 1 : 0;
        if (call.member == "GetActive")
            call.answer(g_variant_new("(b)", active));
        else if (call.member == "LockedHint")
            call.answer(g_variant_new_boolean(hint));
        else if (call.member == "Inhibit")
            inhibit(call);
        else if (thoughtful)
            thinking.push_back(std::move(call));
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
        call.answerWithFile(ends[1]);
        close(ends[1]);
    }

    GPtr<GTestDBus> daemon_ = GPtr<GTestDBus>::take(g_test_dbus_new(G_TEST_DBUS_NONE));
    std::vector<int> inhibitors_;
};

} // namespace

TEST_F(LogindSessionTest, locksWhenAScreenSaverDoesButNotWhenItEndsAndNeedsNoSystemBus) {
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", TRUE);
    start(1);
    for (const auto* interface : {"org.freedesktop.ScreenSaver", saver, "org.example.Other"})
        for (const auto* now : {"(true,)", "(false,)", "('true',)", "()"})
            desktop->emit("/ScreenSaver", interface, "ActiveChanged", g_variant_new_parsed(now));
    hear();
    EXPECT_EQ(locked, 2);
}

TEST_F(LogindSessionTest, findsOutWhetherTheSessionWasLockedBefore) {
    desktop->own(login);
    for (const auto& [saverActive, loginHint] : {std::pair(false, false), {true, false}, {false, true}}) {
        active = saverActive;
        hint = loginHint;
        start(2);
        EXPECT_EQ(locked, active || hint ? 1 : 0);
        EXPECT_EQ(session->isLocked(), active || hint);
        for (const auto now : {false, true}) {
            desktop->emit("/ScreenSaver", saver, "ActiveChanged", g_variant_new("(b)", now));
            hear();
            EXPECT_EQ(session->isLocked(), now);
        }
    }
}

TEST_F(LogindSessionTest, locksWithThisPersonsSessionsAndNobodyElsesAndOnceInAStormOfRequests) {
    desktop->own(login);
    start(2);
    lock(other);
    lock(own);
    MainLoop::runUntil([this] { return locked > 0; });
    hear();
    EXPECT_EQ(locked, 1);
    // A session of another name that the environment says is this one, and one of which nobody knows whose it
    // is.
    g_setenv("XDG_SESSION_ID", "c2", TRUE);
    for (const auto* path : {other, "/org/freedesktop/login1/session/gone"}) {
        lock(path);
        MainLoop::runUntil([&] { return locked == (path == other ? 2 : 3); });
    }
    thoughtful = true;
    for (auto i = 0; i < 1000; ++i) {
        lock(own);
        prepareForSleep(true);
    }
    MainLoop::runUntil([this] { return !thinking.empty(); });
    hear();
    EXPECT_EQ(thinking.size(), 1U);
    EXPECT_EQ(sleeping.size(), 1U);
    thinking.front().refuse("org.freedesktop.DBus.Error.Failed");
    MainLoop::runUntil([this] { return locked == 4; });
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
    const auto goToSleep = [this] {
        const auto before = sleeping.size();
        prepareForSleep(true);
        MainLoop::runUntil([&] { return sleeping.size() == before + 1; });
    };
    for (const auto round : {0U, 1U, 2U}) {
        goToSleep();
        // A word about an earlier sleep, or a second one, changes nothing.
        for (std::size_t i = 0; i < round; ++i)
            sleeping[i]();
        EXPECT_EQ(held(), 1);
        sleeping.back()();
        sleeping.back()();
        EXPECT_EQ(held(), 0);
        prepareForSleep(false);
        MainLoop::runUntil([this] { return held() == 1; });
    }
    // It lets go at its end, and hears nothing more.
    goToSleep();
    session.reset();
    sleeping.back()();
    lock(own);
    hear();
    EXPECT_EQ(held(), 0);
    EXPECT_EQ(locked, 0);
    // With nobody to ask, there is nothing to wait for.
    start(2);
    session->onSleep = nullptr;
    prepareForSleep(true);
    hear();
    EXPECT_EQ(held(), 0);
}
