#include "reminders/Notifications.h"

#include "fakes/FakeLock.h"
#include "fakes/FakeNotifications.h"
#include "platform/Outcome.h"

#include <gtest/gtest.h>

TEST(Notifications, asksOnceForAllAndTellsOfAnOpenedOneOnALaterTurnAndNobodyOnceItHasGone) {
    using Answer = NotificationQuestion::Answer;
    FakeNotificationQuestion question;
    FakeNotificationCenter center(question);
    FakeMainQueue queue;
    auto notifications = std::make_unique<Notifications>(center, queue);
    for (const auto& [answer, text] : {std::pair(Answer::dismissed, "denied"), {Answer::allow, "granted"}}) {
        const auto first = begin(notifications->request()), second = begin(notifications->request());
        EXPECT_EQ(begin(notifications->status())->value, "prompt");
        EXPECT_FALSE(first->value || second->value);
        question.answer(answer);
        EXPECT_TRUE(first->value == text && second->value == text) << *first->value << *second->value;
    }
    const auto again = begin(notifications->reconsider()), more = begin(notifications->reconsider());
    const auto shared = begin(notifications->request());
    EXPECT_TRUE(more->ended() && !again->ended()) << "one question at a time";
    question.answer(Answer::dontAllow);
    EXPECT_EQ(shared->value, "denied");
    EXPECT_EQ(begin(notifications->request())->value, "denied");
    int opened = 0;
    const auto openedLater = [&] {
        center.onResponse();
        EXPECT_EQ(std::exchange(opened, 0), 0);
        queue.advance(std::chrono::milliseconds(0));
        return opened;
    };
    EXPECT_EQ(openedLater(), 0) << "nobody wants to know";
    notifications->onOpen = [&] { opened += 1; };
    EXPECT_EQ(openedLater(), 1);
    notifications.reset();
    EXPECT_FALSE(center.onResponse);
}
