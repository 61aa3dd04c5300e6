#include "reminders/linux/DesktopSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sysexits.h>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

namespace fs = std::filesystem;
using Words = DesktopSession::Words;

/// The real agent in a session of its own, with the person's permission.
class ReminderProcessTest : public testing::Test {
protected:
    DesktopSession session;
    std::optional<NotificationDaemon> daemon{session};
    std::optional<AgentUnderTest> agent;

    void SetUp() override {
        PermissionFile(session.place.permissionFile()).write(NotificationPermission::authorized);
    }
    int run(const Words& options) { return agent.emplace(session, options).waitForEnd(); }
};

} // namespace

TEST_F(ReminderProcessTest, showsWhatBecameDueMeanwhileAsTheServerReadsItAndLeavesWhenItIsClosed) {
    const auto hostile = std::string("<b>&amp;\x01\x1b\n\tש\xe2\x80\xae") + '\0';
    for (const auto sync : {1, 2}) {
        agent.reset();
        session.leave({hostile}, 10 - sync, static_cast<std::uint64_t>(sync));
        agent.emplace(session);
        session.waitForLog("\"sync\":" + std::to_string(sync) + "}\n{\"id\":1,");
    }
    daemon->dismiss(1);
    EXPECT_EQ(agent->waitForEnd(), EXIT_SUCCESS);
    const std::string rest = ", 'app.brisko.Brisko', '<b>&amp;  ש\\u202e', '&lt;b&gt;&amp;amp;\\n ש\\u202e', "
                             "['default', 'Open'], {'desktop-entry': <'app.brisko.Brisko'>, 'sound-name': "
                             "<'message-new-instant'>}, -1)";
    EXPECT_THAT(daemon->received, ElementsAre("('brisko', 0" + rest, "('brisko', 1" + rest))
        << "the second in its place";
}

TEST_F(ReminderProcessTest, waitsForANotificationServerAndSendsNothingAgainThatOneHasEndedOn) {
    daemon.reset();
    session.leave({"<b>"});
    agent.emplace(session);
    session.waitForAgent();
    daemon.emplace(session, true);
    session.waitForLog("shown");
    EXPECT_THAT(daemon->received, ElementsAre(HasSubstr("'<b>', '<b>', []")));
    daemon.reset();
    EXPECT_EQ(agent->waitForEnd(), EXIT_SUCCESS);

    session.leave({"deadly"}, 5, 2);
    daemon.emplace(session).isMute = true;
    agent.emplace(session);
    daemon->waitForOne();
    daemon.emplace(session);
    EXPECT_EQ(agent->waitForEnd(), EXIT_SUCCESS);
    EXPECT_THAT(daemon->received, testing::IsEmpty());
}

TEST_F(ReminderProcessTest, followsTheTimeZoneWhileItRuns) {
    const auto write = [&](const char* name, const std::string& offset) {
        // The smallest file that tzfile(5) allows: one type of local time, no change.
        const auto header = "TZif" + std::string(35, '\0') + '\1' + std::string("\0\0\0\4", 4);
        std::ofstream(session.home() / name) << header << offset << std::string("\0\0ABC\0", 6);
    };
    write("west", std::string(4, '\0'));
    write("east", std::string("\0\0\x2a\x30", 4)); // 3 hours
    const auto zone = session.home() / "localtime";
    fs::create_symlink("west", zone);
    setenv("TZ", "UTC0", 1);
    tzset();
    session.leave({"in two hours"}, -120);
    setenv("TZ", (":" + zone.string()).c_str(), 1);
    agent.emplace(session);
    session.waitForAgent();
    EXPECT_THAT(daemon->received, testing::IsEmpty());
    fs::create_symlink("east", session.home() / "new");
    fs::rename(session.home() / "new", zone);
    daemon->waitForOne();
}

TEST_F(ReminderProcessTest, setsFilesAsideThatItCannotUseAndTellsNobody) {
    const auto& place = session.place;
    DurableFile::write(place.pendingFile(), "{\"version\":1,");
    DurableFile::write(place.logFile(), "{\"delivered\":\"rent\",\"moment\":5,\"sync\":1}\nrubbish\n");
    DurableFile::write(place.folder / "pending.json.new-abcdef", "half");
    EXPECT_EQ(run({}), EXIT_SUCCESS);
    EXPECT_EQ(DurableFile::read(place.folder / "pending.json.broken-1"), "{\"version\":1,");
    EXPECT_TRUE(fs::exists(place.folder / "deliveries.log.broken-1"));
    EXPECT_FALSE(fs::exists(place.folder / "pending.json.new-abcdef"));
    // The last line was being written when the machine went down.
    const auto whole = session.log();
    DurableFile::append(place.logFile(), "{\"delivered\":\"brisko");
    session.leave({"rent", "tea"});
    agent.emplace(session);
    daemon->waitForOne();
    EXPECT_THAT(daemon->received, ElementsAre(HasSubstr("'tea'"))) << "what the log still says counts";
    EXPECT_THAT(session.log(), testing::StartsWith(whole + "{\"delivered\":\"tea"));
}

TEST_F(ReminderProcessTest, opensTheRunningProgramAndStartsItWhereItDoesNotRun) {
    const auto marker = session.home() / "started";
    const auto script = "echo $1 $XDG_ACTIVATION_TOKEN $DESKTOP_STARTUP_ID >$2.new; mv $2.new $2";
    session.leave({"a", "b"}, 5, 1, {"sh", "-c", script, "sh", "argument", marker});
    agent.emplace(session);
    session.waitForLog("\"shown\":\"b\"");
    daemon->open(99, "another program's");
    daemon->open(1, "token-1");
    MainLoop::poll([&] { return fs::exists(marker) && !daemon->closed.empty(); });
    EXPECT_EQ(DurableFile::read(marker), "argument token-1 token-1\n");
    EXPECT_THAT(daemon->closed, ElementsAre(1));

    Words actions;
    const BusObject program(session.connect(), session.place.applicationId,
                            R"(<node name="/app/brisko/Test"><interface name="org.freedesktop.Application">
        <method name="ActivateAction"><arg type="s" direction="in"/><arg type="av" direction="in"/>
        <arg type="a{sv}" direction="in"/></method></interface></node>)",
                            [&](BusCall call) {
                                actions.emplace_back(GText(g_variant_print(call.arguments, FALSE)).get());
                                call.answer();
                            });
    daemon->open(2, "token-2");
    // The agent does not wait for the program, and may have ended when the call arrives.
    MainLoop::poll([&] { return !actions.empty(); });
    EXPECT_EQ(agent->waitForEnd(), EXIT_SUCCESS);
    EXPECT_THAT(actions, ElementsAre("('notification-opened', [], {'activation-token': <'token-2'>, "
                                     "'desktop-startup-id': <'token-2'>})"));
}

TEST_F(ReminderProcessTest, staysOnlyForRemindersAndAloneAndRefusesOptionsThatMakeNoSense) {
    daemon.reset();
    session.stopBus(); // which nobody needs who ends at once
    EXPECT_EQ(run({"--if-pending"}), EXIT_SUCCESS);
    EXPECT_FALSE(fs::exists(session.place.lockFile()));
    session.leave({"older than a day"}, 24 * 60 + 2);
    EXPECT_EQ(run({"--if-pending"}), EXIT_SUCCESS);
    session.startBus();
    session.leave({"tomorrow"}, -24 * 60);
    const AgentUnderTest stays(session, {"--if-pending"});
    session.waitForAgent();
    EXPECT_EQ(run({"--no-such-option"}), 2);
    EXPECT_EQ(run({}), EX_TEMPFAIL) << "one at a time";
}
