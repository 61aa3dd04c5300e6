#include "reminders/Notifications.h"

#include "fakes/FakeLock.h"
#include "fakes/FakeNotifications.h"

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

    using Text = std::shared_ptr<std::string>;
    static Text start(Task<std::string> task) {
        auto text = std::make_shared<std::string>("waits");
        spawn(keep(std::move(task), text));
        return text;
    }
    static Task<> keep(Task<std::string> task, Text text) {
        auto value = co_await std::move(task);
        *text = std::move(value);
    }
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
        EXPECT_EQ(*start(notifications->status()), text);
    }
    center.unavailable = true;
    EXPECT_EQ(*start(notifications->status()), "denied");
    EXPECT_EQ(*start(notifications->request()), "denied");
    EXPECT_EQ(question.asked, 0);
}

TEST_F(NotificationsTest, asksOnceForAllWhoWantToKnow) {
    for (const auto& [answer, text, status] :
         {std::tuple(Answer::dismissed, "denied", "prompt"), {Answer::allow, "granted", "granted"}}) {
        const auto first = start(notifications->request());
        const auto second = start(notifications->request());
        EXPECT_EQ(*start(notifications->status()), "prompt");
        EXPECT_EQ(*first + ", " + *second, "waits, waits");
        question.answer(answer);
        EXPECT_EQ(*first + ", " + *second, std::string(text) + ", " + text);
        EXPECT_EQ(*start(notifications->status()), status);
    }
    EXPECT_EQ(question.asked, 2);
    EXPECT_EQ(*start(notifications->request()), "granted");
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
