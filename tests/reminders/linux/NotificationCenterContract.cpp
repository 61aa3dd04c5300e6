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
    void setFull(bool full) { center.full = full; }
    void respond() { center.onResponse(); }
};

struct Real {
    FakeNotificationQuestion question;
    DesktopSession session;
    NotificationDaemon daemon{session};
    std::unique_ptr<AgentNotificationCenter> owner = session.center(question);
    AgentNotificationCenter& center = *owner;

    void goAway() { session.restartBus(); }
    void setFull(bool full) { session.setDiskFull(full); }
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

    Permission request(Answer answer) {
        const auto asked = kind.question.asked;
        const auto asking = begin(center.requestPermission());
        MainLoop::runUntil([&] { return asking->ended() || kind.question.asked > asked; });
        if (!asking->ended())
            kind.question.answer(answer);
        return MainLoop::finish(asking);
    }
    void expectPermission(Permission permission) {
        EXPECT_EQ(MainLoop::finish(center.permission()), permission);
    }
    /// "-removed +added: pending"
    std::string replace(const std::string& prefix, const std::vector<std::string>& identifiers) {
        std::vector<NotificationRequest> requests;
        for (const auto& identifier : identifiers)
            requests.push_back({identifier, "title", {}, 0, {2999, 12, 31, 23, 59}});
        const auto [removed, added] = MainLoop::finish(center.replace(prefix, requests));
        auto text = "-" + std::to_string(removed) + " +" + std::to_string(added) + ":";
        auto kept = MainLoop::finish(center.pendingIdentifiers());
        std::sort(kept.begin(), kept.end());
        for (const auto& identifier : kept)
            text += " " + identifier;
        return text;
    }
};

using Kinds = testing::Types<Fake, Real>;
TYPED_TEST_SUITE(NotificationCenterContract, Kinds);

} // namespace

TYPED_TEST(NotificationCenterContract, asksUntilThePersonHasAnswered) {
    this->expectPermission(Permission::notDetermined);
    EXPECT_EQ(this->request(Answer::dismissed), Permission::notDetermined);
    EXPECT_EQ(this->request(Answer::dontAllow), Permission::denied);
    EXPECT_EQ(this->request(Answer::allow), Permission::denied);
    this->expectPermission(Permission::denied);
    EXPECT_EQ(this->kind.question.asked, 2);
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
    this->expectPermission(Permission::denied);
    EXPECT_EQ(this->request(Answer::allow), Permission::denied);
    EXPECT_EQ(this->replace("a.", {"a.1"}), "-0 +0:");
}
