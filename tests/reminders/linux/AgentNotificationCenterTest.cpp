#include "reminders/linux/DesktopSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Replaced = NotificationCenter::Replaced;
using Names = std::vector<std::string>;

class AgentNotificationCenterTest : public testing::Test {
protected:
    DesktopSession session;
    FakeNotificationQuestion question;
    std::unique_ptr<AgentNotificationCenter> center = session.center(question);

    static auto begin(NotificationCenter& center, const Names& names) {
        std::vector<NotificationRequest> list;
        for (const auto& name : names)
            list.push_back({name, name, "body of " + name, 1, {2999, 12, 31, 23, 59}});
        return ::begin(center.replace("", list));
    }
    static Replaced replace(NotificationCenter& center, const Names& names) {
        return MainLoop::finish(begin(center, names));
    }
    static Names pending(NotificationCenter& center) { return MainLoop::finish(center.pendingIdentifiers()); }
};

} // namespace

TEST_F(AgentNotificationCenterTest, keepsRemindersThroughTheDeathsOfProgramAgentAndBus) {
    EXPECT_EQ(replace(*center, {}), Replaced());
    EXPECT_THAT(pending(*center), IsEmpty());
    EXPECT_EQ(session.agent(), 0) << "none is started for nothing";
    EXPECT_EQ(replace(*center, {"a", "b"}), (Replaced{0, 2}));
    session.killAgent();
    session.waitForAgent(); // the program brings it back
    center.reset();
    session.killAgent();
    session.restartBus();
    EXPECT_EQ(session.agent(), 0);
    center = session.center(question);
    session.waitForAgent();
    EXPECT_THAT(pending(*center), ElementsAre("a", "b"));
    EXPECT_EQ(replace(*center, {}), (Replaced{2, 0}));
    EXPECT_FALSE(std::filesystem::exists(session.place.pendingFile()));
}

TEST_F(AgentNotificationCenterTest, isAnsweredAlsoWhenTheAgentIsKilledInTheMiddleOfACall) {
    replace(*center, {"0"});
    // It dies a few events later each time, until the call has ended before that.
    int completed = 0;
    for (int events = 0; completed < 3 && events < 60; events += 2) {
        const auto name = std::to_string(events + 1);
        const auto id = session.agent();
        const auto replacing = begin(*center, {name, "x"});
        for (int count = 0; count < events && !replacing->ended(); ++count)
            g_main_context_iteration(nullptr, TRUE);
        completed += replacing->ended() ? 1 : 0;
        if (id != 0)
            ::kill(id, SIGKILL);
        EXPECT_EQ(MainLoop::finish(replacing).added, 2U) << events;
        session.killAgent();
        EXPECT_THAT(pending(*center), ElementsAre(name, "x")) << events;
    }
    EXPECT_EQ(completed, 3);
}

TEST_F(AgentNotificationCenterTest, givesUpOnAnAgentThatDoesNotAnswerOrCannotBeHad) {
    const AgentUnderTest agent(session, {"--linger=3600"});
    session.waitForAgent();
    agent.freeze();
    const auto impatient = session.center(question, BRISKO_REMINDERS, 100ms);
    const auto first = begin(*impatient, {"a"});
    const auto second = begin(*impatient, {"b"});
    EXPECT_EQ(MainLoop::finish(first), Replaced());
    EXPECT_TRUE(second->ended()) << "as those behind one that is late end with it";
    const auto replacing = begin(*center, {"b"});
    center.reset();
    ASSERT_TRUE(replacing->ended());
    EXPECT_EQ(replacing->take(), Replaced()) << "the program ends";
    session.killAgent();

    for (const auto* program : {"/nonexistent", "/bin/false", "/bin/sleep"})
        EXPECT_EQ(replace(*session.center(question, program, 300ms), {"a"}), Replaced()) << program;
    AgentNotificationCenter alone({}, {session.place, {}}, question);
    EXPECT_EQ(replace(alone, {"a"}), Replaced());
    EXPECT_EQ(MainLoop::finish(alone.requestPermission()), NotificationPermission::denied);
    EXPECT_EQ(question.asked, 0);
}

TEST_F(AgentNotificationCenterTest, leavesTheStartToABusThatKnowsTheAgent) {
    session.installService();
    center = session.center(question, "/nonexistent");
    EXPECT_EQ(replace(*center, {"a"}), (Replaced{0, 1}));
    const auto id = session.agent();
    EXPECT_EQ(AgentUnderTest(session, {"--if-pending"}).waitForEnd(), EXIT_FAILURE) << "one is there";
    session.killAgent();
    EXPECT_EQ(AgentUnderTest(session, {"--if-pending"}).waitForEnd(), EXIT_SUCCESS);
    EXPECT_THAT(session.agent(), testing::AllOf(testing::Ne(id), testing::Gt(0)));
}

TEST_F(AgentNotificationCenterTest, takesLongListsAndListsInQuickSuccession) {
    Names names;
    for (int number = 0; number < 10'000; ++number)
        names.push_back(std::to_string(number));
    EXPECT_EQ(replace(*center, names), (Replaced{0, 10'000}));
    EXPECT_EQ(pending(*center).size(), 10'000U);
    std::vector<std::shared_ptr<Outcome<Replaced>>> outcomes;
    for (int count = 0; count < 300; ++count)
        outcomes.push_back(begin(*center, {std::to_string(count)}));
    for (const auto& outcome : outcomes)
        EXPECT_EQ(MainLoop::finish(outcome).added, 1U);
    EXPECT_THAT(pending(*center), ElementsAre("299"));
}
