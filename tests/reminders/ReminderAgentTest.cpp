#include "reminders/agent/ReminderAgent.h"

#include "fakes/FakeLock.h"
#include "fakes/FakeNotifications.h"
#include "fakes/FakeReminderAgent.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

using Replaced = NotificationCenter::Replaced;
using Titles = std::vector<std::string>;

/// A machine whose clock and notification server the test moves, and an agent that it can kill.
class ReminderAgentTest : public testing::Test {
protected:
    FakeReminderStore store;
    FakeNotificationServer server;
    FakeAlarmClock alarm;
    FakeShellLauncher launcher;
    FakeClock clock; // 08:00:00 UTC
    FakeTimeZone zone;
    std::unique_ptr<ReminderAgent> agent;

    void SetUp() override { startAgent(); }
    /// After a kill, if it has been there.
    void startAgent() {
        agent = std::make_unique<ReminderAgent>(
            ReminderAgent::Surroundings{store, server, alarm, launcher, clock, zone});
        agent->start();
        if (server.running.empty())
            server.onVanished();
        else
            server.onAppeared();
    }
    std::chrono::sys_seconds now() const { return std::chrono::floor<std::chrono::seconds>(clock.time); }
    NotificationRequest request(const std::string& name, std::chrono::seconds in) const {
        return {"brisko.task." + name, name, {}, 0, LocalTime::minuteOf(now() + in, zone)};
    }
    Replaced replace(std::vector<NotificationRequest> requests) {
        return agent->replace("brisko.task.", std::move(requests), {"brisko"});
    }
    /// Time passes, and the alarm rings when it is due.
    void pass(std::chrono::seconds time) {
        const auto end = clock.time + time;
        while (alarm.moment && *alarm.moment <= end) {
            clock.time = std::max<Clock::time_point>(clock.time, *alarm.moment);
            alarm.moment.reset();
            alarm.onRing();
        }
        clock.time = end;
    }
};

} // namespace

TEST_F(ReminderAgentTest, showsEachReminderInItsMinuteAndOnce) {
    EXPECT_EQ(replace({request("b", 90min), request("a", 30min + 59s), request("c", 30min)}),
              (Replaced{0, 3}));
    pass(30min - 1s);
    EXPECT_EQ(server.sent, Titles());
    pass(1s);
    EXPECT_EQ(server.sent, (Titles{"a", "c"}));
    EXPECT_EQ(agent->pendingIdentifiers(), Titles{"brisko.task.b"});
    alarm.onRing(); // somebody has set the clock
    startAgent();
    pass(24h);
    EXPECT_EQ(server.sent, (Titles{"a", "c", "b"}));
    startAgent();
    EXPECT_EQ(server.sent.size(), 3U);
    EXPECT_TRUE(agent->pendingIdentifiers().empty());
}

TEST_F(ReminderAgentTest, replacesItsOwnAndCountsWhatIsStillPending) {
    agent->replace("other.", {{"other.1", "o", {}, 0, request("", 1h).trigger}}, {"brisko"});
    EXPECT_EQ(replace({request("a", 1min), request("b", 1h), request("b", 2h)}), (Replaced{0, 3}));
    EXPECT_EQ(agent->pendingIdentifiers(), (Titles{"brisko.task.a", "other.1", "brisko.task.b"}));
    pass(1min);
    const auto saved = store.saved + 1; // without what has been delivered
    for (int count = 0; count < 1000; ++count)
        EXPECT_EQ(replace({request("b", 2h - 1min)}), (Replaced{1, 1}));
    EXPECT_EQ(store.saved, saved) << "the same list wears no disk out";
    startAgent();
    EXPECT_EQ(replace({}), (Replaced{1, 0}));
    EXPECT_EQ(agent->pendingIdentifiers(), Titles{"other.1"});
    store.full = true;
    EXPECT_EQ(replace({request("c", 1h)}), Replaced());
    EXPECT_EQ(agent->pendingIdentifiers(), Titles{"other.1"});
}

TEST_F(ReminderAgentTest, showsOnReturnWhatIsLessThanADayOld) {
    replace({request("old", 1h), request("young", 1h + 1min), request("later", 40h)});
    const auto rent = request("future", 30h);
    clock.time += 25h;
    startAgent();
    EXPECT_EQ(server.sent, Titles{"young"});
    EXPECT_EQ(replace({rent}), (Replaced{1, 1})) << "what is too old is no longer pending";
    // The clock was wrong: it ran days ahead.
    clock.time += 100h;
    startAgent();
    EXPECT_TRUE(agent->pendingIdentifiers().empty());
    clock.time -= 101h;
    alarm.onRing();
    EXPECT_EQ(agent->pendingIdentifiers(), Titles{"brisko.task.future"});
}

TEST_F(ReminderAgentTest, repeatsNothingThatThePageSendsAgainInTheSameMinuteOrAfterTheClockWasSetBack) {
    const auto rent = request("rent", 1min);
    replace({rent});
    pass(1min + 10s);
    EXPECT_EQ(replace({rent, request("tea", 1min)}), (Replaced{0, 2}));
    clock.time -= 30min;
    alarm.onRing();
    replace({rent});
    startAgent();
    replace({rent});
    pass(2h);
    EXPECT_EQ(server.sent, Titles{"rent"});
    // Another moment is another reminder.
    replace({request("rent", 1min)});
    pass(1min);
    EXPECT_EQ(server.sent, (Titles{"rent", "rent"}));
}

TEST_F(ReminderAgentTest, showsAtOnceWhatIsDueInTheMinuteThatHasBegun) {
    clock.time += 20s;
    replace({request("now", 10s)});
    EXPECT_EQ(server.sent, Titles{"now"});
}

TEST_F(ReminderAgentTest, recordsADeliveryBeforeItIsSentSoThatAKillRepeatsNothing) {
    server.hold = true;
    replace({request("a", 1min), request("b", 1min)});
    pass(1min);
    EXPECT_EQ(server.sent, Titles{"a"});
    server.hold = false;
    const auto killed = std::move(agent);
    startAgent();
    EXPECT_EQ(server.sent, (Titles{"a", "b"}));
    store.full = true;
    store.log.clear();
    EXPECT_EQ(replace({}), Replaced()) << "nothing has been pending";
    server.open();
}

TEST_F(ReminderAgentTest, showsAReminderAlsoWhereTheDiskIsFullOnceAtLeastUntilItEnds) {
    replace({request("a", 1min)});
    store.full = true;
    pass(1min);
    alarm.onRing();
    server.vanish();
    server.appear("second");
    EXPECT_EQ(server.sent, Titles{"a"});
}

TEST_F(ReminderAgentTest, waitsForAServerAndForgetsNothingMeanwhile) {
    server.vanish();
    replace({request("a", 1min), request("b", 2h)});
    pass(1h);
    EXPECT_EQ(server.sent, Titles());
    EXPECT_TRUE(agent->isNeeded());
    EXPECT_EQ(replace({request("b", 1h)}), (Replaced{2, 1}));
    replace({request("b", 1h), request("c", 1min)});
    pass(1min);
    server.appear("second");
    EXPECT_EQ(server.sent, Titles{"c"});
    // It ends between two calls: certainly not sent.
    server.outcome = NotificationServer::Outcome::notSent;
    pass(1h);
    EXPECT_EQ(agent->pendingIdentifiers(), Titles{"brisko.task.b"});
    server.outcome = NotificationServer::Outcome::shown;
    server.appear("third");
    EXPECT_EQ(server.sent, (Titles{"c", "b", "b"}));
    startAgent();
    EXPECT_EQ(server.sent.size(), 3U);
}

TEST_F(ReminderAgentTest, doesNotSendAgainWhatAServerHasEndedOn) {
    server.outcome = NotificationServer::Outcome::unknown;
    replace({request("a", 1min), request("b", 1min)});
    pass(1min);
    server.appear("second");
    startAgent();
    EXPECT_EQ(server.sent, (Titles{"a", "b"}));
    EXPECT_TRUE(server.onScreen.empty());
}

TEST_F(ReminderAgentTest, letsTheMinutePassInSilenceWithoutPermission) {
    store.permitted = false;
    replace({request("a", 1min), request("b", 1min), request("c", 1h)});
    pass(30min);
    store.permitted = true;
    alarm.onRing();
    startAgent();
    EXPECT_EQ(server.sent, Titles());
    pass(1h);
    EXPECT_EQ(server.sent, Titles{"c"});
}

TEST_F(ReminderAgentTest, takesThePlaceOfTheTasksEarlierNotificationOnTheSameScreenOnly) {
    const auto again = [&] {
        replace({request("a", 1min)});
        pass(1min);
    };
    again();
    startAgent();
    again();
    EXPECT_EQ(server.onScreen.size(), 1U);
    server.onClosed(server.onScreen.begin()->first);
    server.onScreen.clear();
    again();
    const auto last = server.onScreen.begin()->first;
    EXPECT_EQ(last, 2U) << "a closed one is not replaced";
    server.vanish();
    server.appear("second");
    again();
    EXPECT_EQ(server.onScreen.begin()->first, 3U) << "nor is a number of another server";
}

TEST_F(ReminderAgentTest, opensTheProgramAndLeavesWhenNothingIsToComeAndNothingIsShown) {
    EXPECT_FALSE(agent->isNeeded());
    replace({request("a", 1min), request("b", 1min)});
    EXPECT_TRUE(agent->isNeeded());
    EXPECT_EQ(server.listening, NotificationServer::Listening::off);
    pass(1min);
    EXPECT_EQ(server.listening, NotificationServer::Listening::on);
    server.onOpened(99, "another program's");
    EXPECT_EQ(launcher.opened, Titles());
    startAgent();
    server.onOpened(1, "token");
    server.onOpened(1, "twice");
    EXPECT_EQ(launcher.opened, Titles{"brisko token"});
    EXPECT_EQ(server.onScreen.count(1), 0U);
    EXPECT_TRUE(agent->isNeeded());
    server.onClosed(2);
    EXPECT_FALSE(agent->isNeeded());
    EXPECT_EQ(server.listening, NotificationServer::Listening::off);
    startAgent();
    EXPECT_FALSE(agent->isNeeded());
}

TEST_F(ReminderAgentTest, followsTheTimeZone) {
    replace({request("a", 3h), request("b", 4h)});
    zone.offset = 3h; // the person has gone east
    agent->timeZoneChanged();
    EXPECT_EQ(server.sent, Titles{"a"});
    EXPECT_EQ(alarm.moment, now() + 1h);
    zone.offset = 0h;
    agent->timeZoneChanged();
    EXPECT_EQ(server.sent, Titles{"a"}) << "its minute comes again, and it does not";
    EXPECT_EQ(alarm.moment, now() + 4h);
}

TEST_F(ReminderAgentTest, meansTheHourThatWasStillToComeWhereClocksAreSetBack) {
    // At 09:00 clocks go back to 08:00.
    zone.changes = {{now() + 1h, -1h}};
    const auto half = request("first", 30min);
    replace({half});
    EXPECT_EQ(alarm.moment, now() + 30min);
    clock.time += 50min;
    auto again = half;
    again.title = "second";
    replace({again});
    EXPECT_EQ(alarm.moment, now() + 40min);
    startAgent();
    EXPECT_EQ(alarm.moment, now() + 40min);
    pass(2h);
    EXPECT_EQ(server.sent, Titles{"second"});
}

TEST_F(ReminderAgentTest, keepsItsLogShortAndStillKnowsWhatMatters) {
    const auto rent = request("rent", 1min);
    replace({rent});
    pass(1min);
    std::vector<NotificationRequest> many;
    for (int number = 0; number < 400; ++number) {
        many.push_back(request(std::to_string(number), 0s));
        many.back().title = "many";
    }
    for (int round = 0; round < 2; ++round) {
        for (auto& each : many)
            each.trigger = request("", 1min).trigger;
        replace(many);
        pass(1min);
    }
    EXPECT_GT(store.log.size(), 1600U);
    replace({});
    EXPECT_LT(store.log.size(), 900U);
    startAgent();
    replace({rent});
    EXPECT_EQ(server.sent.size(), 801U);
    EXPECT_EQ(server.onScreen.size(), 401U);
}
