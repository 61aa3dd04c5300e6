#pragma once

#include "fakes/FakeNotifications.h"
#include "linux/BusObject.h"
#include "linux/MainLoop.h"
#include "platform/linux/DurableFile.h"
#include "platform/linux/SystemClock.h"
#include "platform/linux/TemporaryFolder.h"
#include "reminders/agent/PendingList.h"
#include "reminders/linux/AgentNotificationCenter.h"
#include "reminders/linux/SystemTimeZone.h"

#include <sys/resource.h>

#include <csignal>
#include <fstream>

/// A person's session: a bus of its own, a home, and what the test puts on the bus. The agents on it end with
/// it.
class DesktopSession {
    TemporaryFolder home_{"reminders"};

public:
    using Words = std::vector<std::string>;
    using Where = std::source_location;

    DesktopSession() {
        std::signal(SIGXFSZ, SIG_IGN); // on a full disk, a write fails; it ends no agent
        setenv("G_DEBUG", "fatal-criticals", 1);
        DurableFile::makePrivateFolder(place.folder);
        startBus();
    }
    DesktopSession(const DesktopSession&) = delete;
    DesktopSession& operator=(const DesktopSession&) = delete;
    ~DesktopSession() { stopBus(); }

    const std::filesystem::path& home() const { return home_.path(); }

    const ReminderPlace place = {"app.brisko.Test", home() / "state" / "reminders"};

    GPtr<GDBusConnection> connect() const {
        return BusObject::connectTo(g_test_dbus_get_bus_address(bus_.get()));
    }
    void startBus() {
        bus_ = GPtr<GTestDBus>::take(g_test_dbus_new(G_TEST_DBUS_NONE));
        g_test_dbus_add_service_dir(bus_.get(), home().c_str());
        g_test_dbus_up(bus_.get());
        asking_ = connect();
    }
    void stopBus() {
        asking_ = {};
        g_test_dbus_stop(bus_.get());
    }
    /// From its next start on, the bus starts the agent of the place by itself.
    void installService(const std::string& agent = BRISKO_REMINDERS) const {
        std::ofstream(home() / "agent.service")
            << "[D-BUS Service]\nName=" << place.busName() << "\nExec=" << agent << " --application-id "
            << place.applicationId << " --state " << place.folder.string();
    }

    /// The list on disk, as an agent has left it: each due so many minutes ago.
    void leave(const Words& names, int minutesAgo = 5, std::uint64_t sync = 1,
               const Words& command = {"true"}) const {
        const auto due =
            std::chrono::floor<std::chrono::seconds>(SystemClock().now()) - std::chrono::minutes(minutesAgo);
        PendingList list{sync, command, {}};
        for (const auto& name : names)
            list.reminders.push_back(
                {{name, name, name, 0, LocalTime::minuteOf(due, SystemTimeZone())}, due});
        DurableFile::write(place.pendingFile(), list.encode());
    }
    std::string log() const { return DurableFile::read(place.logFile()).value_or(""); }
    /// Until the agent has written it down.
    void waitForLog(const std::string& text, const Where& where = Where::current()) const {
        MainLoop::poll([&] { return log().find(text) != std::string::npos; }, [this] { return log(); },
                       where);
    }

    /// A program's end of the agent.
    std::unique_ptr<AgentNotificationCenter>
    center(NotificationQuestion& question, const std::string& agent = BRISKO_REMINDERS,
           std::chrono::milliseconds patience = std::chrono::seconds(20)) const {
        return std::make_unique<AgentNotificationCenter>(
            connect(), AgentNotificationCenter::Options{place, {"true"}, agent, patience}, question);
    }
    /// The process that is the agent on the bus; 0 for none.
    pid_t agent() const { return BusObject::processOf(place.busName(), asking_.get()); }
    void waitForAgent(const Where& where = Where::current()) const {
        MainLoop::poll([this] { return agent() != 0; }, {}, where);
    }
    /// Ends it as a crash would, and returns once it has left the bus.
    void killAgent() const {
        if (const auto id = agent()) {
            ::kill(id, SIGKILL);
            MainLoop::poll([&] { return agent() != id; });
        }
    }

private:
    GPtr<GTestDBus> bus_;
    GPtr<GDBusConnection> asking_;
};

/// An agent that the test starts itself. It leaves as soon as there is nothing to wait for, unless it is told
/// otherwise.
class AgentUnderTest {
public:
    explicit AgentUnderTest(const DesktopSession& session, const DesktopSession::Words& options = {}) {
        const auto& [id, folder] = session.place;
        // One that is stopped would outlive a test that crashes.
        std::vector<const char*> words = {"setpriv",          "--pdeathsig=KILL", BRISKO_REMINDERS,
                                          "--application-id", id.c_str(),         "--state",
                                          folder.c_str(),     "--linger=0"};
        for (const auto& each : options)
            words.push_back(each.c_str());
        words.push_back(nullptr);
        process_ = GPtr<GSubprocess>::take(g_subprocess_newv(words.data(), G_SUBPROCESS_FLAGS_NONE, nullptr));
    }
    AgentUnderTest(const AgentUnderTest&) = delete;
    AgentUnderTest& operator=(const AgentUnderTest&) = delete;
    ~AgentUnderTest() {
        g_subprocess_force_exit(process_.get());
        g_subprocess_wait(process_.get(), nullptr, nullptr);
    }

    /// Returns the exit status; -1 after a signal.
    int waitForEnd(const std::source_location& where = std::source_location::current()) const {
        MainLoop::poll([this] { return !g_subprocess_get_identifier(process_.get()); }, {}, where);
        return g_subprocess_get_if_exited(process_.get()) ? g_subprocess_get_exit_status(process_.get()) : -1;
    }
    /// At once: GLib itself sends signals from a thread of its own, sooner or later.
    void freeze() const { ::kill(std::stoi(g_subprocess_get_identifier(process_.get())), SIGSTOP); }

private:
    GPtr<GSubprocess> process_;
};

/// A notification server on the bus, whose screen the test looks at and clicks on. It ends as in a crash:
/// without a word.
class NotificationDaemon {
public:
    explicit NotificationDaemon(const DesktopSession& session, bool isModest = false)
        : isModest_(isModest), object_(session.connect(), interface, description, [this](BusCall call) {
              answer(std::move(call));
          }) {}

    std::vector<std::string> received; ///< the arguments of each Notify as text
    std::vector<std::uint32_t> closed; ///< the numbers that it was asked to take from the screen
    bool isMute = false;               ///< takes notifications, and answers nothing

    void waitForOne(const std::source_location& where = std::source_location::current()) const {
        MainLoop::runUntil([&] { return !received.empty(); }, {}, where);
    }
    void open(guint32 id, const char* token) const {
        emit("ActivationToken", g_variant_new("(us)", id, token));
        emit("ActionInvoked", g_variant_new("(us)", id, "default"));
    }
    void dismiss(guint32 id) const { emit("NotificationClosed", g_variant_new("(uu)", id, 2)); }

private:
    static constexpr auto interface = "org.freedesktop.Notifications";
    static constexpr auto path = "/org/freedesktop/Notifications";
    static constexpr auto description = R"(
<node name="/org/freedesktop/Notifications"><interface name="org.freedesktop.Notifications">
  <method name="GetCapabilities"><arg type="as" direction="out"/></method>
  <method name="CloseNotification"><arg type="u" direction="in"/></method>
  <method name="Notify">
    <arg type="s" direction="in"/><arg type="u" direction="in"/><arg type="s" direction="in"/>
    <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="as" direction="in"/>
    <arg type="a{sv}" direction="in"/><arg type="i" direction="in"/><arg type="u" direction="out"/>
  </method>
</interface></node>)";

    void emit(const char* signal, GVariant* arguments) const {
        object_.emit(path, interface, signal, arguments);
    }
    void answer(BusCall call) {
        guint32 id = 0;
        if (call.member == "GetCapabilities") {
            call.answer(
                g_variant_new_parsed(isModest_ ? "(@as [],)" : "(['actions', 'body', 'body-markup'],)"));
        } else if (call.member == "CloseNotification") {
            g_variant_get(call.arguments, "(u)", &id);
            closed.push_back(id);
            dismiss(id);
            call.answer();
        } else {
            g_variant_get_child(call.arguments, 1, "u", &id);
            received.emplace_back(GText(g_variant_print(call.arguments, FALSE)).get());
            if (!isMute)
                call.answer(g_variant_new("(u)", id != 0 ? id : ++last_));
        }
    }

    bool isModest_; ///< knows neither markup nor buttons
    std::uint32_t last_ = 0;
    BusObject object_;
};
