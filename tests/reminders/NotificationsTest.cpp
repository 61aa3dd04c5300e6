#include "reminders/Notifications.h"

#include "fakes/FakeLock.h"
#include "fakes/FakeNotifications.h"
#include "platform/Outcome.h"

#include <gtest/gtest.h>

TEST(Notifications, asksOnceForAllWhoWantToKnow) {
    using Answer = NotificationQuestion::Answer;
    FakeNotificationQuestion question;
    FakeNotificationCenter center(question);
    FakeMainQueue queue;
    Notifications notifications(center, queue);
    for (const auto& [answer, text] : {std::pair(Answer::dismissed, "denied"), {Answer::allow, "granted"}}) {
        const auto first = begin(notifications.request()), second = begin(notifications.request());
        EXPECT_EQ(begin(notifications.status())->value, "prompt");
        EXPECT_FALSE(first->value || second->value);
        question.answer(answer);
        EXPECT_TRUE(first->value == text && second->value == text) << *first->value << *second->value;
    }
    for (const auto state : {NotificationPermission::authorized, NotificationPermission::denied}) {
        center.state = state;
        const auto* text = state == NotificationPermission::denied ? "denied" : "granted";
        EXPECT_EQ(begin(notifications.status())->value, text);
        EXPECT_EQ(begin(notifications.request())->value, text);
    }
    EXPECT_EQ(question.asked, 2) << "an answer stands";
}

TEST(Notifications, tellsOfAnOpenedNotificationOnALaterTurnAndNobodyOnceItHasGone) {
    FakeNotificationQuestion question;
    FakeNotificationCenter center(question);
    FakeMainQueue queue;
    auto notifications = std::make_unique<Notifications>(center, queue);
    const auto laterTurn = [&] { queue.advance(std::chrono::milliseconds(0)); };
    center.onResponse();
    laterTurn();
    int opened = 0;
    notifications->onOpen = [&] { opened += 1; };
    center.onResponse();
    EXPECT_EQ(opened, 0);
    laterTurn();
    EXPECT_EQ(opened, 1);
    center.onResponse();
    notifications.reset();
    laterTurn();
    EXPECT_EQ(opened, 1);
    EXPECT_FALSE(center.onResponse);
}
