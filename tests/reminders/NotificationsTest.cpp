#include "reminders/Notifications.h"

#include "fakes/FakeLock.h"
#include "fakes/FakeNotifications.h"
#include "platform/Outcome.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

using Answer = NotificationQuestion::Answer;

class NotificationsTest : public testing::Test {
protected:
    FakeNotificationQuestion question;
    FakeNotificationCenter center{question};
    FakeMainQueue queue;
    std::unique_ptr<Notifications> notifications = std::make_unique<Notifications>(center, queue);
};

} // namespace

TEST_F(NotificationsTest, saysInThePagesWordsWhatIsPermitted) {
    const std::pair<NotificationPermission, const char*> cases[] = {
        {NotificationPermission::notDetermined, "prompt"}, {NotificationPermission::denied, "denied"},
        {NotificationPermission::authorized, "granted"},   {NotificationPermission::provisional, "granted"},
        {NotificationPermission::ephemeral, "granted"},
    };
    for (const auto& [permission, text] : cases) {
        center.state = permission;
        EXPECT_EQ(begin(notifications->status())->value, text);
    }
    center.unavailable = true;
    EXPECT_EQ(begin(notifications->status())->value, "denied");
    EXPECT_EQ(begin(notifications->request())->value, "denied");
    EXPECT_EQ(question.asked, 0);
}

TEST_F(NotificationsTest, asksOnceForAllWhoWantToKnow) {
    for (const auto& [answer, text, status] :
         {std::tuple(Answer::dismissed, "denied", "prompt"), {Answer::allow, "granted", "granted"}}) {
        const auto first = begin(notifications->request());
        const auto second = begin(notifications->request());
        EXPECT_EQ(begin(notifications->status())->value, "prompt");
        EXPECT_FALSE(first->value || second->value);
        question.answer(answer);
        EXPECT_EQ(first->value, text);
        EXPECT_EQ(second->value, text);
        EXPECT_EQ(begin(notifications->status())->value, status);
    }
    EXPECT_EQ(question.asked, 2);
    EXPECT_EQ(begin(notifications->request())->value, "granted");
    EXPECT_EQ(question.asked, 2) << "an answer stands";
}

TEST_F(NotificationsTest, tellsOfAnOpenedNotificationOnALaterTurnAndNobodyOnceItHasGone) {
    center.onResponse();
    queue.advance(0ms);
    int opened = 0;
    notifications->onOpen = [&] { opened += 1; };
    center.onResponse();
    EXPECT_EQ(opened, 0);
    queue.advance(0ms);
    EXPECT_EQ(opened, 1);
    center.onResponse();
    notifications.reset();
    queue.advance(0ms);
    EXPECT_EQ(opened, 1);
    EXPECT_FALSE(center.onResponse);
}
