#include "reminders/Notifications.h"

#include "fakes/FakeLock.h"
#include "fakes/FakeNotifications.h"
#include "platform/Outcome.h"

#include <gtest/gtest.h>

namespace {

class NotificationsTest : public testing::Test {
protected:
    FakeNotificationQuestion question;
    FakeNotificationCenter center{question};
    FakeMainQueue queue;
    std::optional<Notifications> notifications{std::in_place, center, queue};

    void expectAnswers(const char* status, const char* request) {
        EXPECT_EQ(begin(notifications->status())->value, status);
        EXPECT_EQ(begin(notifications->request())->value, request);
    }
};

} // namespace

TEST_F(NotificationsTest, asksOnceForAllWhoWantToKnow) {
    using Answer = NotificationQuestion::Answer;
    for (const auto& [answer, text] : {std::pair(Answer::dismissed, "denied"), {Answer::allow, "granted"}}) {
        const auto first = begin(notifications->request());
        const auto second = begin(notifications->request());
        EXPECT_EQ(begin(notifications->status())->value, "prompt");
        EXPECT_FALSE(first->value || second->value);
        question.answer(answer);
        EXPECT_EQ(first->value, text);
        EXPECT_EQ(second->value, text);
    }
    expectAnswers("granted", "granted");
    center.state = NotificationPermission::denied;
    expectAnswers("denied", "denied");
    center.unavailable = true;
    expectAnswers("denied", "denied");
    EXPECT_EQ(question.asked, 2) << "an answer stands";
}

TEST_F(NotificationsTest, tellsOfAnOpenedNotificationOnALaterTurnAndNobodyOnceItHasGone) {
    using namespace std::chrono_literals;
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
