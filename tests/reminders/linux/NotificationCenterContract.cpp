#include "linux/MainLoop.h"
#include "reminders/linux/DesktopSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Answer = NotificationQuestion::Answer;
using Permission = NotificationPermission;
using Replaced = NotificationCenter::Replaced;

struct Fake {
    FakeNotificationQuestion question;
    FakeNotificationCenter center{question};

    void goAway() { center.unavailable = true; }
    void respond() { center.onResponse(); }
};

struct Real {
    FakeNotificationQuestion question;
    DesktopSession session;
    std::unique_ptr<NotificationDaemon> daemon = std::make_unique<NotificationDaemon>(session);
    std::unique_ptr<AgentNotificationCenter> owner = session.center(question);
    AgentNotificationCenter& center = *owner;

    void goAway() { session.restartBus(); }
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

    Permission permission() { return MainLoop::finish(center.permission()); }
    Permission request(Answer answer) {
        const auto asked = kind.question.asked;
        const auto asking = begin(center.requestPermission());
        MainLoop::runUntil([&] { return asking->ended() || kind.question.asked > asked; });
        if (!asking->ended())
            kind.question.answer(answer);
        return MainLoop::finish(asking);
    }
    static NotificationRequest request(const std::string& identifier) {
        return {identifier, "title", {}, 0, {2999, 12, 31, 23, 59}};
    }
    Replaced replace(const std::string& prefix, const std::vector<std::string>& identifiers) {
        std::vector<NotificationRequest> requests;
        requests.reserve(identifiers.size());
        for (const auto& identifier : identifiers)
            requests.push_back(request(identifier));
        return MainLoop::finish(center.replace(prefix, requests));
    }
    std::vector<std::string> pending() { return MainLoop::finish(center.pendingIdentifiers()); }
};

using Kinds = testing::Types<Fake, Real>;
TYPED_TEST_SUITE(NotificationCenterContract, Kinds);

} // namespace

TYPED_TEST(NotificationCenterContract, asksUntilThePersonHasAnswered) {
    EXPECT_EQ(this->permission(), Permission::notDetermined);
    EXPECT_EQ(this->request(Answer::dismissed), Permission::notDetermined);
    EXPECT_EQ(this->request(Answer::dontAllow), Permission::denied);
    EXPECT_EQ(this->request(Answer::allow), Permission::denied);
    EXPECT_EQ(this->permission(), Permission::denied);
    EXPECT_EQ(this->kind.question.asked, 2);
}

TYPED_TEST(NotificationCenterContract, replacesWhatBeginsWithThePrefixAndNothingElse) {
    EXPECT_EQ(this->replace("a.", {}), (Replaced{0, 0}));
    EXPECT_EQ(this->replace("a.", {"a.1", "a.2", "a.1"}), (Replaced{0, 3}));
    EXPECT_EQ(this->replace("b.", {"b.1"}), (Replaced{0, 1}));
    EXPECT_EQ(this->replace("a.", {"a.3"}), (Replaced{2, 1}));
    EXPECT_THAT(this->pending(), testing::UnorderedElementsAre("a.3", "b.1"));
    EXPECT_EQ(this->replace("", {}), (Replaced{2, 0}));
    EXPECT_THAT(this->pending(), testing::IsEmpty());
}

TYPED_TEST(NotificationCenterContract, tellsOfAnOpenedNotification) {
    int opened = 0;
    this->center.onResponse = [&] { opened += 1; };
    this->kind.respond();
    EXPECT_EQ(opened, 1);
}

TYPED_TEST(NotificationCenterContract, isEmptyAndDeniedWhereThereIsNoDesktop) {
    this->request(Answer::allow);
    this->kind.goAway();
    EXPECT_EQ(this->permission(), Permission::denied);
    EXPECT_EQ(this->request(Answer::allow), Permission::denied);
    EXPECT_EQ(this->replace("a.", {"a.1"}), Replaced());
    EXPECT_THAT(this->pending(), testing::IsEmpty());
}
