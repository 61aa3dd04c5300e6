#include "reminders/linux/AgentNotificationCenter.h"

#include "linux/MainLoop.h"
#include "platform/linux/DurableFile.h"
#include "reminders/linux/DesktopSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Replaced = NotificationCenter::Replaced;
using Identifiers = std::vector<std::string>;

class AgentNotificationCenterTest : public testing::Test {
protected:
    DesktopSession session;
    FakeNotificationQuestion question;

    static std::vector<NotificationRequest> requests(const Identifiers& names) {
        std::vector<NotificationRequest> list;
        for (const auto& name : names)
            list.push_back({"brisko.task." + name, name, "body of " + name, 1, {2999, 12, 31, 23, 59}});
        return list;
    }
    static Replaced replace(NotificationCenter& center, const Identifiers& names) {
        return MainLoop::finish(center.replace("brisko.task.", requests(names)));
    }
    static Identifiers pending(NotificationCenter& center) {
        return MainLoop::finish(center.pendingIdentifiers());
    }
};

} // namespace

TEST_F(AgentNotificationCenterTest, keepsRemindersThroughTheDeathsOfProgramAgentAndBus) {
    auto center = session.center(question);
    EXPECT_EQ(replace(*center, {"a", "b"}), (Replaced{0, 2}));
    const auto first = session.owner(session.place.busName());
    session.killAgent();
    DesktopEvents::poll([&] { return session.owner(session.place.busName()) != 0; });
    EXPECT_NE(session.owner(session.place.busName()), first) << "the program brings it back";
    center.reset();
    session.killAgent();
    session.restartBus();
    EXPECT_EQ(session.owner(session.place.busName()), 0);
    center = session.center(question);
    DesktopEvents::poll([&] { return session.owner(session.place.busName()) != 0; });
    EXPECT_THAT(pending(*center), ElementsAre("brisko.task.a", "brisko.task.b"));
    EXPECT_EQ(replace(*center, {}), (Replaced{2, 0}));
    EXPECT_FALSE(std::filesystem::exists(session.place.pendingFile()));
}

TEST_F(AgentNotificationCenterTest, startsNoAgentForNothing) {
    const NotificationDaemon daemon(session);
    const auto center = session.center(question);
    EXPECT_EQ(replace(*center, {}), Replaced());
    EXPECT_THAT(pending(*center), IsEmpty());
    MainLoop::finish(center->permission());
    EXPECT_EQ(session.owner(session.place.busName()), 0);
}

TEST_F(AgentNotificationCenterTest, isAnsweredAlsoWhenTheAgentIsKilledInTheMiddleOfACall) {
    const auto center = session.center(question);
    replace(*center, {"0"});
    // It dies a few events later each time, until the call has ended before that.
    int completed = 0;
    for (int events = 0; completed < 3 && events < 60; events += 2) {
        const auto name = std::to_string(events + 1);
        const auto id = session.owner(session.place.busName());
        const auto replacing = begin(center->replace("brisko.task.", requests({name, "x"})));
        for (int count = 0; count < events && !replacing->ended(); ++count)
            g_main_context_iteration(nullptr, TRUE);
        completed += replacing->ended() ? 1 : 0;
        if (id != 0)
            ::kill(id, SIGKILL);
        EXPECT_EQ(MainLoop::finish(replacing).added, 2U) << events;
        session.killAgent();
        EXPECT_THAT(pending(*center), ElementsAre("brisko.task." + name, "brisko.task.x")) << events;
    }
    EXPECT_EQ(completed, 3);
}

TEST_F(AgentNotificationCenterTest, givesUpOnAnAgentThatDoesNotAnswerOrCannotBeHad) {
    AgentUnderTest agent(session);
    agent.waitUntilOnBus();
    const auto impatient = session.center(question, 100ms);
    agent.freeze();
    const auto waiting = begin(impatient->replace("brisko.task.", requests({"a"})));
    EXPECT_EQ(replace(*impatient, {"b"}), Replaced());
    EXPECT_TRUE(waiting->ended());
    auto patient = session.center(question);
    const auto replacing = begin(patient->replace("brisko.task.", requests({"b"})));
    patient.reset();
    ASSERT_TRUE(replacing->ended());
    EXPECT_EQ(replacing->take(), Replaced()) << "the program ends";
    agent.kill();

    for (const auto* program : {"/nonexistent", "/bin/false", "/bin/sleep"}) {
        AgentNotificationCenter center(session.connect(), {session.place, {}, program, 300ms}, question);
        EXPECT_EQ(replace(center, {"a"}), Replaced()) << program;
    }
    AgentNotificationCenter alone({}, {session.place, {}}, question);
    EXPECT_EQ(replace(alone, {"a"}), Replaced());
    EXPECT_EQ(MainLoop::finish(alone.requestPermission()), NotificationPermission::denied);
    EXPECT_EQ(question.asked, 0);
}

TEST_F(AgentNotificationCenterTest, saysWhatIsReallyKeptWhereTheDiskIsFull) {
    AgentUnderTest agent(session);
    agent.waitUntilOnBus();
    const auto center = session.center(question);
    replace(*center, {"a"});
    agent.setDiskFull(true);
    EXPECT_EQ(replace(*center, {"b", "c"}), Replaced());
    EXPECT_THAT(pending(*center), ElementsAre("brisko.task.a"));
    EXPECT_EQ(replace(*center, {"a"}), (Replaced{1, 1})) << "which is kept already";
    agent.setDiskFull(false);
    EXPECT_EQ(replace(*center, {"b", "c"}), (Replaced{1, 2}));
}

TEST_F(AgentNotificationCenterTest, leavesTheStartToABusThatKnowsTheAgent) {
    session.installService();
    AgentNotificationCenter center(session.connect(), {session.place, {"true"}, "/nonexistent"}, question);
    EXPECT_EQ(replace(center, {"a"}), (Replaced{0, 1}));
    const auto id = session.owner(session.place.busName());
    AgentUnderTest atLogin(session, {"--if-pending"});
    EXPECT_EQ(atLogin.waitForEnd(), EXIT_FAILURE) << "one is there";
    session.killAgent();
    AgentUnderTest afterLogin(session, {"--if-pending"});
    EXPECT_EQ(afterLogin.waitForEnd(), EXIT_SUCCESS);
    EXPECT_THAT(session.owner(session.place.busName()), testing::AllOf(testing::Ne(id), testing::Gt(0)));
}

TEST_F(AgentNotificationCenterTest, keepsProfilesApart) {
    const auto center = session.center(question);
    const ReminderPlace otherPlace = {"app.brisko.Test.p1", session.home() / "other"};
    AgentNotificationCenter other(session.connect(), {otherPlace, {"true"}, BRISKO_REMINDERS}, question);
    replace(*center, {"a"});
    EXPECT_EQ(replace(other, {"b"}), (Replaced{0, 1}));
    EXPECT_THAT(pending(*center), ElementsAre("brisko.task.a"));
    EXPECT_THAT(pending(other), ElementsAre("brisko.task.b"));
}

TEST_F(AgentNotificationCenterTest, takesLongListsAndLongTextsAndListsInQuickSuccession) {
    const auto center = session.center(question);
    Identifiers names;
    for (int number = 0; number < 10'000; ++number)
        names.push_back(std::to_string(number));
    EXPECT_EQ(replace(*center, names), (Replaced{0, 10'000}));
    EXPECT_EQ(pending(*center).size(), 10'000U);

    auto hostile = requests({"a"});
    hostile[0].title = std::string(1 << 20, '<');
    hostile[0].body = std::string("\0\xff\xe2\x80\xae", 5);
    std::vector<std::shared_ptr<Outcome<Replaced>>> outcomes;
    for (int count = 0; count < 1000; ++count) {
        hostile[0].trigger.minute = count % 60;
        outcomes.push_back(begin(center->replace("brisko.task.", hostile)));
    }
    for (const auto& outcome : outcomes)
        EXPECT_EQ(MainLoop::finish(outcome).added, 1U);
    EXPECT_THAT(pending(*center), ElementsAre("brisko.task.a"));
    EXPECT_LT(std::filesystem::file_size(session.place.pendingFile()), 2000U);
}
