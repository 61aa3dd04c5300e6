#include "reminders/linux/DesktopSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

using namespace std::chrono_literals;
using testing::ElementsAre;

namespace {

using Replaced = NotificationCenter::Replaced;
using Names = DesktopSession::Words;

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
    Replaced replace(const Names& names) const { return MainLoop::finish(begin(*center, names)); }
    Names pending() const { return MainLoop::finish(center->pendingIdentifiers()); }
};

} // namespace

TEST_F(AgentNotificationCenterTest, keepsRemindersThroughTheDeathsOfProgramAgentAndBus) {
    EXPECT_EQ(replace({}), Replaced());
    EXPECT_THAT(pending(), ElementsAre());
    EXPECT_EQ(session.agent(), 0) << "none is started for nothing";
    EXPECT_EQ(replace({"a", "b"}), (Replaced{0, 2}));
    EXPECT_THAT(DurableFile::read(session.place.pendingFile()).value(), testing::HasSubstr("\"command\":[]"))
        << "no other program is started by a click";
    session.killAgent();
    session.waitForAgent(); // the program brings it back
    center.reset();
    session.killAgent();
    session.stopBus();
    session.startBus();
    EXPECT_EQ(session.agent(), 0);
    center = session.center(question);
    session.waitForAgent();
    EXPECT_THAT(pending(), ElementsAre("a", "b"));
    EXPECT_EQ(replace({}), (Replaced{2, 0}));
    EXPECT_FALSE(std::filesystem::exists(session.place.pendingFile()));
}

TEST_F(AgentNotificationCenterTest, isAnsweredAlsoWhenTheAgentIsKilledInTheMiddleOfACall) {
    replace({"0"});
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
        EXPECT_THAT(pending(), ElementsAre(name, "x")) << events;
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
    for (const auto* program : {"/nonexistent", "/bin/false", "/bin/sleep"}) {
        center = session.center(question, program, 300ms);
        EXPECT_EQ(replace({"a"}), Replaced()) << program;
    }
}

TEST_F(AgentNotificationCenterTest, leavesTheStartToABusThatKnowsTheAgent) {
    session.stopBus();
    session.installService();
    session.startBus();
    center = session.center(question, "/nonexistent");
    EXPECT_EQ(replace({"a"}), (Replaced{0, 1}));
    session.killAgent();
    EXPECT_EQ(AgentUnderTest(session, {"--if-pending"}).waitForEnd(), EXIT_SUCCESS);
    EXPECT_GT(session.agent(), 0);

    session.stopBus();
    session.installService("/bin/false");
    session.startBus();
    center = session.center(question);
    EXPECT_EQ(replace({"b"}), (Replaced{1, 1})) << "the bus starts it in vain";
}

TEST_F(AgentNotificationCenterTest, passesAHundredThousandOnAndRefusesMoreThanAnybodyHas) {
    Names many(100'000, "a");
    EXPECT_EQ(replace(many), (Replaced{0, 100'000}));
    many.resize(RequestText::countLimit + 1, "b");
    EXPECT_EQ(replace(many), Replaced());
    EXPECT_EQ(replace({"c" + std::string(RequestText::sizeLimit, 'c')}), Replaced());
    EXPECT_THAT(pending(), ElementsAre("a"));
}

// The contract of the fake and the real one.

namespace {

using Answer = NotificationQuestion::Answer;
using Permission = NotificationPermission;

struct Fake {
    FakeNotificationQuestion question;
    FakeNotificationCenter center{question};

    void goAway() { center.unavailable = true; }
    void setFull(bool full) { center.full = full; }
    void respond() { center.onResponse(); }
};

struct Real {
    FakeNotificationQuestion question;
    DesktopSession session;
    NotificationDaemon daemon{session};
    std::unique_ptr<AgentNotificationCenter> owner = session.center(question);
    AgentNotificationCenter& center = *owner;

    void goAway() {
        session.stopBus();
        session.startBus();
    }
    void setFull(bool full) const {
        const rlimit size = {full ? 0 : RLIM_INFINITY, RLIM_INFINITY};
        EXPECT_EQ(prlimit(session.agent(), RLIMIT_FSIZE, &size, nullptr), 0);
    }
    void respond() {
        const auto application = GPtr<GSimpleActionGroup>::take(g_simple_action_group_new());
        center.listen(G_ACTION_MAP(application.get()));
        g_action_group_activate_action(G_ACTION_GROUP(application.get()), ReminderPlace::openedAction,
                                       nullptr);
    }
};

template <class Kind>
class NotificationCenterContract : public testing::Test {
protected:
    Kind kind;
    NotificationCenter& center = kind.center;

    Permission request(Answer answer, bool again = false) {
        const auto asked = kind.question.asked;
        const auto asking = begin(again ? center.reconsiderPermission() : center.requestPermission());
        MainLoop::runUntil([&] { return asking->ended() || kind.question.asked > asked; });
        if (!asking->ended())
            kind.question.answer(answer);
        const auto told = MainLoop::finish(asking);
        EXPECT_EQ(MainLoop::finish(center.permission()), told);
        return told;
    }
    /// "-removed +added: pending"
    std::string replace(const std::string& prefix, const Names& identifiers) {
        std::vector<NotificationRequest> requests;
        for (const auto& identifier : identifiers)
            requests.push_back({identifier, "title", {}, 0, {2999, 12, 31, 23, 59}});
        const auto [removed, added] = MainLoop::finish(center.replace(prefix, requests));
        auto text = "-" + std::to_string(removed) + " +" + std::to_string(added) + ":";
        const auto kept = MainLoop::finish(center.pendingIdentifiers());
        for (const auto& identifier : std::set(kept.begin(), kept.end()))
            text += " " + identifier;
        return text;
    }
};

using Kinds = testing::Types<Fake, Real>;
TYPED_TEST_SUITE(NotificationCenterContract, Kinds);

} // namespace

TYPED_TEST(NotificationCenterContract, asksUntilThePersonHasAnswered) {
    for (const auto& [answer, told] : {std::pair(Answer::dismissed, Permission::notDetermined),
                                       {Answer::dontAllow, Permission::denied},
                                       {Answer::allow, Permission::denied}})
        EXPECT_EQ(this->request(answer), told);
    EXPECT_EQ(this->kind.question.asked, 2);
    for (const auto& [answer, told] : {std::pair(Answer::dismissed, Permission::denied),
                                       {Answer::allow, Permission::authorized},
                                       {Answer::dontAllow, Permission::denied}})
        EXPECT_EQ(this->request(answer, true), told) << "when it is asked for in the menu";
}

TYPED_TEST(NotificationCenterContract, tellsWhatIsReallyKeptAndWhatHasBeenOpenedAndIsEmptyWithoutADesktop) {
    EXPECT_EQ(this->request(Answer::allow), Permission::authorized);
    EXPECT_EQ(this->replace("a.", {}), "-0 +0:");
    EXPECT_EQ(this->replace("a.", {"a.1", "a.2", "a.1"}), "-0 +3: a.1 a.2");
    EXPECT_EQ(this->replace("b.", {"b.1"}), "-0 +1: a.1 a.2 b.1");
    this->kind.setFull(true);
    EXPECT_EQ(this->replace("a.", {"a.3"}), "-0 +0: a.1 a.2 b.1");
    this->kind.setFull(false);
    EXPECT_EQ(this->replace("a.", {"a.3"}), "-2 +1: a.3 b.1");
    EXPECT_EQ(this->replace("", {}), "-2 +0:");
    int opened = 0;
    this->center.onResponse = [&] { opened += 1; };
    this->kind.respond();
    EXPECT_EQ(opened, 1);
    this->kind.goAway();
    EXPECT_EQ(this->request(Answer::allow), Permission::denied);
    EXPECT_EQ(this->replace("a.", {"a.1"}), "-0 +0:");
}
