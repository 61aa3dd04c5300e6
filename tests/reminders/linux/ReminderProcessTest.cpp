#include "linux/MainLoop.h"
#include "platform/linux/DurableFile.h"
#include "reminders/linux/DesktopSession.h"

#include <fcntl.h>
#include <gio/gunixfdlist.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <set>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;
using DesktopEvents::poll;
using DesktopEvents::requestName;

using Titles = std::vector<std::string>;

/// The real agent in a session of its own.
class ReminderProcessTest : public testing::Test {
protected:
    DesktopSession session;

    void SetUp() override { session.allow(); }
    static void waitFor(const NotificationDaemon& daemon, std::size_t count) {
        MainLoop::runUntil([&] { return daemon.received.size() >= count; });
    }
    /// Until the agent has written it down.
    void waitForLog(const std::string& text) {
        poll([&] { return session.log().find(text) != std::string::npos; });
    }
    /// The agent ends by itself when nothing is pending or shown.
    static int endAfterDismissing(NotificationDaemon& daemon, AgentUnderTest& agent) {
        const auto shown = daemon.onScreen;
        for (const auto& [id, notification] : shown)
            daemon.dismiss(id);
        return agent.waitForEnd();
    }
};

/// The program as the session bus sees it.
class RunningProgram {
public:
    explicit RunningProgram(const DesktopSession& session) : bus_(session.connect()) {
        constexpr auto xml =
            R"(<node><interface name="org.freedesktop.Application"><method name="ActivateAction">
            <arg type="s" direction="in"/><arg type="av" direction="in"/><arg type="a{sv}" direction="in"/>
            </method></interface></node>)";
        static const GDBusInterfaceVTable methods = {
            [](GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* parameters,
               GDBusMethodInvocation* invocation, gpointer self) {
                static_cast<RunningProgram*>(self)->actions.emplace_back(
                    GText(g_variant_print(parameters, FALSE)).get());
                g_dbus_method_invocation_return_value(invocation, nullptr);
            },
            nullptr,
            nullptr,
            {}};
        auto* node = g_dbus_node_info_new_for_xml(xml, nullptr);
        object_ = g_dbus_connection_register_object(bus_.get(), "/app/brisko/Test", node->interfaces[0],
                                                    &methods, this, nullptr, nullptr);
        g_dbus_node_info_unref(node);
        requestName(bus_.get(), session.place.applicationId);
    }
    ~RunningProgram() {
        g_dbus_connection_unregister_object(bus_.get(), object_);
        g_dbus_connection_close_sync(bus_.get(), nullptr, nullptr);
    }
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    std::vector<std::string> actions;

private:
    GPtr<GDBusConnection> bus_;
    guint object_ = 0;
};

} // namespace

TEST_F(ReminderProcessTest, showsWhatBecameDueMeanwhileOnceAndLeavesWhenItIsClosed) {
    NotificationDaemon daemon(session);
    session.leave({"rent"});
    {
        AgentUnderTest agent(session);
        waitFor(daemon, 1);
        waitForLog("shown");
        agent.kill();
    }
    EXPECT_THAT(daemon.received[0].actions, ElementsAre("default", "Open"));
    EXPECT_EQ(daemon.received[0].hints["sound-name"], "'message-new-instant'");
    EXPECT_EQ(daemon.received[0].hints["desktop-entry"], "'app.brisko.Brisko'");
    {
        AgentUnderTest agent(session);
        agent.waitUntilOnBus();
        EXPECT_EQ(endAfterDismissing(daemon, agent), EXIT_SUCCESS) << "it knows what another has shown";
    }
    AgentUnderTest agent(session, {"--if-pending"});
    EXPECT_EQ(agent.waitForEnd(), EXIT_SUCCESS);
    EXPECT_EQ(daemon.titles(), Titles{"rent"});
}

TEST_F(ReminderProcessTest, passesTextsOnAsTheServerReadsThem) {
    const auto hostile = std::string("<b>&amp;\x01\x1b\n\tש\xe2\x80\xae") + '\0';
    const std::pair<Titles, std::string> cases[] = {{{"body-markup"}, "&lt;b&gt;&amp;amp;\n ש\xe2\x80\xae"},
                                                    {{}, "<b>&amp;\n ש\xe2\x80\xae"}};
    std::uint64_t sync = 1;
    for (const auto& [capabilities, body] : cases) {
        NotificationDaemon daemon(session, capabilities);
        session.leave({"x"}, 5, sync);
        auto list = *PendingList::decode(*DurableFile::read(session.place.pendingFile()));
        list.reminders[0].request.identifier += std::to_string(sync++);
        list.reminders[0].request.title = hostile;
        list.reminders[0].request.body = hostile;
        DurableFile::write(session.place.pendingFile(), list.encode());
        AgentUnderTest agent(session);
        waitFor(daemon, 1);
        EXPECT_EQ(daemon.received[0].title, "<b>&amp;  ש\xe2\x80\xae");
        EXPECT_EQ(daemon.received[0].body, body);
        EXPECT_THAT(daemon.received[0].actions, IsEmpty());
    }
}

TEST_F(ReminderProcessTest, takesThePlaceOfTheTasksEarlierNotification) {
    NotificationDaemon daemon(session);
    for (std::uint64_t sync = 1; sync <= 2; ++sync) {
        session.leave({"rent"}, 10 - static_cast<int>(sync), sync);
        AgentUnderTest agent(session);
        waitFor(daemon, sync);
        waitForLog("\"shown\"");
        MainLoop::runUntil([&] { return daemon.onScreen.size() == 1; });
    }
    EXPECT_EQ(daemon.received[1].replaced, daemon.onScreen.begin()->first);
}

TEST_F(ReminderProcessTest, repeatsNothingAndLosesAtMostOneAtATimeWhileItIsKilledAgainAndAgain) {
    Titles names;
    for (int number = 0; number < 60; ++number)
        names.push_back(std::to_string(number));
    const auto areDelivered = [&] {
        const auto log = session.log();
        return std::all_of(names.begin(), names.end(), [&](const auto& name) {
            return log.find("\"delivered\":\"brisko.task." + name + "\"") != std::string::npos;
        });
    };
    NotificationDaemon daemon(session);
    session.leave(names);
    const auto seed = std::random_device{}();
    std::minstd_rand random(seed);
    std::size_t kills = 0;
    for (; !areDelivered(); ++kills) {
        AgentUnderTest agent(session);
        const auto goal = daemon.received.size() + std::uniform_int_distribution<std::size_t>(1, 4)(random);
        poll([&] { return daemon.received.size() >= goal || areDelivered(); });
        const auto end = g_get_monotonic_time() + std::uniform_int_distribution(0, 3000)(random);
        while (g_get_monotonic_time() < end)
            g_main_context_iteration(nullptr, FALSE);
        agent.kill();
    }
    const auto titles = daemon.titles();
    EXPECT_EQ(std::set(titles.begin(), titles.end()).size(), titles.size()) << "seed " << seed;
    EXPECT_GE(titles.size() + kills, names.size()) << "seed " << seed;
    EXPECT_GT(titles.size(), names.size() / 2);
}

TEST_F(ReminderProcessTest, waitsForANotificationServerThatIsNotThereOrEnds) {
    session.leave({"a"});
    AgentUnderTest agent(session);
    agent.waitUntilOnBus();
    auto daemon = std::make_unique<NotificationDaemon>(session);
    waitFor(*daemon, 1);
    waitForLog("shown");
    daemon.reset();
    agent.kill();

    session.leave({"b"}, 5, 2);
    AgentUnderTest next(session);
    next.waitUntilOnBus();
    daemon = std::make_unique<NotificationDaemon>(session);
    waitFor(*daemon, 1);
    EXPECT_EQ(daemon->titles(), Titles{"b"}) << "what the other has shown is not shown again";
}

TEST_F(ReminderProcessTest, doesNotSendAgainWhatAServerHasEndedOn) {
    session.leave({"deadly"});
    auto daemon = std::make_unique<NotificationDaemon>(session);
    daemon->isMute = true;
    AgentUnderTest agent(session);
    waitFor(*daemon, 1);
    daemon = std::make_unique<NotificationDaemon>(session);
    EXPECT_EQ(agent.waitForEnd(), EXIT_SUCCESS);
    EXPECT_EQ(daemon->titles(), Titles());
}

TEST_F(ReminderProcessTest, followsTheTimeZoneWhileItRuns) {
    const auto write = [&](const char* name, int hoursEast) {
        // The smallest file that tzfile(5) allows: one type of local time, no change.
        std::string file = "TZif" + std::string(16, '\0');
        for (const int count : {0, 0, 0, 0, 1, 4})
            file += std::string(3, '\0') + static_cast<char>(count);
        const auto offset = static_cast<std::uint32_t>(hoursEast * 3600);
        for (const int shift : {24, 16, 8, 0})
            file += static_cast<char>(offset >> shift);
        std::ofstream(session.home() / name) << file + std::string(2, '\0') + std::string("ABC\0", 4);
    };
    write("west", 0);
    write("east", 3);
    fs::create_symlink("west", session.home() / "localtime");
    setenv("TZ", "UTC0", 1);
    tzset();
    session.leave({"in two hours"}, -120);
    NotificationDaemon daemon(session);
    AgentUnderTest agent(session, {}, {{"TZ", ":" + (session.home() / "localtime").string()}});
    agent.waitUntilOnBus();
    EXPECT_THAT(daemon.received, IsEmpty());
    fs::create_symlink("east", session.home() / "localtime.new");
    fs::rename(session.home() / "localtime.new", session.home() / "localtime");
    waitFor(daemon, 1);
}

TEST_F(ReminderProcessTest, setsFilesAsideThatItCannotUseAndTellsNobody) {
    DurableFile::write(session.place.pendingFile(), "{\"version\":1,");
    DurableFile::write(session.place.logFile(),
                       "{\"delivered\":\"brisko.task.rent\",\"moment\":5,\"sync\":1}\nrubbish\n");
    DurableFile::write(session.place.folder / "pending.json.new-abcdef", "half");
    {
        AgentUnderTest agent(session);
        EXPECT_EQ(agent.waitForEnd(), EXIT_SUCCESS);
    }
    EXPECT_EQ(DurableFile::read(session.place.folder / "pending.json.broken-1"), "{\"version\":1,");
    EXPECT_TRUE(fs::exists(session.place.folder / "deliveries.log.broken-1"));
    EXPECT_FALSE(fs::exists(session.place.folder / "pending.json.new-abcdef"));
    // The last line was being written when the machine went down.
    const auto whole = session.log();
    DurableFile::append(session.place.logFile(), "{\"delivered\":\"brisko");
    session.leave({"rent", "tea"});
    NotificationDaemon daemon(session);
    AgentUnderTest agent(session);
    waitFor(daemon, 1);
    EXPECT_EQ(daemon.titles(), Titles{"tea"}) << "what the log still says counts";
    EXPECT_TRUE(session.log().starts_with(whole + "{\"delivered\":\"brisko.task.tea"));
}

TEST_F(ReminderProcessTest, opensTheRunningProgramAndStartsItWhereItDoesNotRun) {
    const auto marker = session.home() / "started";
    session.leave({"a", "b"});
    auto list = *PendingList::decode(*DurableFile::read(session.place.pendingFile()));
    list.command = {
        "sh",
        "-c",
        "printf %s \"$1 $XDG_ACTIVATION_TOKEN $DESKTOP_STARTUP_ID\" >\"$2.new\"; mv \"$2.new\" \"$2\"",
        "sh",
        "an argument",
        marker};
    DurableFile::write(session.place.pendingFile(), list.encode());
    NotificationDaemon daemon(session);
    AgentUnderTest agent(session);
    waitFor(daemon, 2);
    waitForLog("\"shown\":\"brisko.task.b\"");
    daemon.open(99, "another program's");
    daemon.open(1, "token-1");
    poll([&] { return fs::exists(marker); });
    EXPECT_EQ(DurableFile::read(marker), "an argument token-1 token-1");
    MainLoop::runUntil([&] { return daemon.onScreen.size() == 1; });

    RunningProgram program(session);
    daemon.open(2, "token-2");
    MainLoop::runUntil([&] { return !program.actions.empty(); });
    EXPECT_THAT(program.actions, ElementsAre("('notification-opened', [], {'activation-token': <'token-2'>, "
                                             "'desktop-startup-id': <'token-2'>})"));
    EXPECT_EQ(agent.waitForEnd(), EXIT_SUCCESS);
}

TEST_F(ReminderProcessTest, endsAtOnceWhenItIsToStayOnlyForRemindersAndThereAreNone) {
    AgentUnderTest none(session, {"--if-pending"}, {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent"}});
    EXPECT_EQ(none.waitForEnd(), EXIT_SUCCESS);
    session.leave({"older than a day"}, 24 * 60 + 2);
    AgentUnderTest old(session, {"--if-pending"}, {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent"}});
    EXPECT_EQ(old.waitForEnd(), EXIT_SUCCESS);
    session.leave({"tomorrow"}, -24 * 60);
    AgentUnderTest stays(session, {"--if-pending"});
    stays.waitUntilOnBus();
    for (const auto* wrong : {"--no-such-option", "more", "--application-id=:1.5"}) {
        AgentUnderTest refuses(session, {wrong});
        EXPECT_EQ(refuses.waitForEnd(), 2) << wrong;
    }
    AgentUnderTest second(session);
    EXPECT_EQ(second.waitForEnd(), EXIT_FAILURE) << "one at a time";
}

TEST_F(ReminderProcessTest, refusesWhatIsNoListOfRequests) {
    AgentUnderTest agent(session);
    agent.waitUntilOnBus();
    const auto bus = session.connect();
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const auto file = session.home() / "rubbish";
    std::ofstream(file) << "[{\"identifier\":5}]";
    const auto rubbish = open(file.c_str(), O_RDONLY);
    for (const int descriptor : {-1, ends[0], rubbish}) {
        const auto files = GPtr<GUnixFDList>::take(g_unix_fd_list_new());
        if (descriptor >= 0)
            g_unix_fd_list_append(files.get(), descriptor, nullptr);
        GError* error = nullptr;
        const char* command[] = {nullptr};
        const GVariantPtr reply(g_dbus_connection_call_with_unix_fd_list_sync(
            bus.get(), session.place.busName().c_str(), ReminderPlace::objectPath,
            ReminderPlace::interfaceName, "Replace", g_variant_new("(sh^as)", "", 0, command), nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, files.get(), nullptr, nullptr, &error));
        EXPECT_FALSE(reply);
        EXPECT_TRUE(g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS)) << error->message;
        g_clear_error(&error);
    }
    for (const int descriptor : {ends[0], ends[1], rubbish})
        close(descriptor);
}
