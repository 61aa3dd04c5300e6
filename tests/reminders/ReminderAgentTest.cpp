#include "reminders/agent/ReminderAgent.h"

#include "Scenario.h"
#include "fakes/FakeLock.h"
#include "fakes/FakeNotifications.h"
#include "fakes/FakeReminderAgent.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace std::chrono_literals;

namespace {

using Minutes = std::chrono::duration<double, std::ratio<60>>;
using Text = const std::string&;

/// A machine whose clock and notification server the test moves, and an agent that it can kill.
class ReminderAgentTest : public testing::Test {
protected:
    FakeReminderStore store;
    FakeNotificationServer server;
    FakeAlarmClock alarm;
    FakeShellLauncher launcher;
    FakeClock clock;
    FakeTimeZone zone;
    std::unique_ptr<ReminderAgent> agent;
    const FakeClock::time_point beginning = clock.time;
    Scenario story{[this] { return sight(); }, deeds()};

    void SetUp() override { startAgent(); }
    /// After a kill, if it has been there.
    void startAgent() {
        agent = std::make_unique<ReminderAgent>(
            ReminderAgent::Surroundings{store, server, alarm, launcher, clock, zone});
        agent->start();
        server.running.empty() ? server.onVanished() : server.onAppeared();
    }
    /// Times are in minutes after the beginning.
    std::chrono::sys_seconds timeOf(Text minutes) const {
        return std::chrono::round<std::chrono::seconds>(beginning + Minutes(std::stod(minutes)));
    }
    /// Each "name@time", by clocks that are never set.
    void keep(Text list, Text prefix = "brisko.task.") {
        std::vector<NotificationRequest> requests;
        std::istringstream words(list);
        for (std::string name, time; std::getline(words >> std::ws, name, '@') && words >> time;)
            requests.push_back(
                {prefix + name, name, {}, 0, LocalTime::minuteOf(timeOf(time), FakeTimeZone())});
        const auto [removed, added] = agent->replace(prefix, std::move(requests), {"brisko"});
        story.said = "-" + std::to_string(removed) + " +" + std::to_string(added);
    }
    /// Time passes, and the alarm rings when it is due.
    void passUntil(Text time) {
        for (; alarm.moment && *alarm.moment <= timeOf(time); alarm.onRing())
            clock.time = std::max<FakeClock::time_point>(clock.time, *std::exchange(alarm.moment, {}));
        clock.time = timeOf(time);
    }
    Scenario::Sight sight() const {
        auto pending = agent->pendingIdentifiers();
        for (auto& identifier : pending)
            identifier.erase(0, identifier.rfind('.') + 1);
        std::vector<std::string> screen;
        screen.reserve(server.onScreen.size());
        for (const auto& [id, title] : server.onScreen)
            screen.push_back(std::to_string(id) + title);
        const auto rings = alarm.moment ? std::to_string((*alarm.moment - timeOf("0")) / 1min) : "";
        return {{"sent", Scenario::list(server.sent)},
                {"pending", Scenario::list(pending)},
                {"screen", Scenario::list(screen)},
                {"alarm", rings},
                {"opened", Scenario::list(launcher.opened)},
                {"listening", Scenario::flag(server.listening == NotificationServer::Listening::on)},
                {"needed", Scenario::flag(agent->isNeeded())}};
    }
    Scenario::Deeds deeds() {
        return {{"keep", [this](Text list) { keep(list); }},
                {"until", [this](Text time) { passUntil(time); }},
                {"clock", [this](Text time) { clock.time = timeOf(time); }},
                {"ring", [this](Text) { alarm.onRing(); }},
                {"restart", [this](Text) { startAgent(); }},
                {"full", [this](Text) { store.full = true; }},
                {"server", [this](Text name) { name == "gone" ? server.vanish() : server.appear(name); }},
                {"open", [this](Text id) { server.onOpened(std::stoi(id), "token"); }},
                {"dismiss", [this](Text id) { server.dismiss(std::stoi(id)); }},
                {"zone", [this](Text hours) { zone.offset = std::stoi(hours) * 1h; }},
                {"zone-changed", [this](Text) { agent->timeZoneChanged(); }}};
    }
};

} // namespace

TEST_F(ReminderAgentTest, showsEachReminderInItsMinuteAndOnceWhateverThePageSendsAgain) {
    story.play({{"keep b@90 a@30 c@30", "-0 +3; pending a c b; alarm 30; needed"},
                {"until 29.98", ""},
                {"until 30", "sent a c; pending b; screen 1a 2c; alarm 90; listening"},
                {"clock 30.33, restart", ""},
                {"keep a@30 b@90", "-1 +2"},
                {"until 1440, restart", "sent a c b; no pending; screen 1a 2c 3b; no alarm"},
                // The minute has begun.
                {"until 1440.33, keep now@1440", "-0 +1; sent a c b now; screen 1a 2c 3b 4now"},
                {"clock 1411, ring, keep now@1440, restart, keep now@1440, until 1500", "-0 +1"},
                {"keep now@1501, until 1501", "-0 +1; sent a c b now now"}});
}

TEST_F(ReminderAgentTest, showsOneNotificationForMoreThanAnybodyReads) {
    std::string many;
    for (auto count = 0; count < 21; ++count)
        many += "r" + std::to_string(count) + "@1 ";
    server.outcome = NotificationServer::Outcome::notSent;
    keep(many);
    passUntil("1");
    EXPECT_EQ(agent->pendingIdentifiers().size(), 21U) << "there was nobody to show it";
    server.outcome = NotificationServer::Outcome::shown;
    server.appear("second");
    startAgent();
    EXPECT_THAT(server.sent, testing::Each("21 reminders"));
    EXPECT_EQ(server.onScreen.size(), 1U);
    EXPECT_TRUE(agent->pendingIdentifiers().empty());
}

TEST_F(ReminderAgentTest, forgetsNoMomentThatPassesWhileItSetsTheAlarm) {
    for (auto round = 1; round < 60; ++round) {
        clock.tick = round * 1s;
        keep("a@" + std::to_string(10 * round + 5) + " b@" + std::to_string(10 * round + 7));
        passUntil(std::to_string(10 * round + 9));
        EXPECT_EQ(server.sent.size(), 2U * round) << round;
    }
}

TEST_F(ReminderAgentTest, replacesItsOwnAndCountsWhatIsStillPendingAlsoOnAFullDisk) {
    keep("o@60", "other.");
    story.play({{"keep a@1 b@60 b@120", "-0 +3; pending a o b; alarm 1"},
                {"until 1", "sent a; pending o b; screen 1a; alarm 60; listening"},
                {"keep b@120", "-1 +1"},
                {"restart, full, keep b@120", "-1 +1"}, // the same list wears no disk out
                {"keep c@120", "-0 +0"},
                {"until 60, ring", "sent a o; pending b; screen 1a 2o; alarm 120"}});
}

TEST_F(ReminderAgentTest, showsOnReturnWhatIsLessThanADayOld) {
    story.play({{"keep old@60 young@61 later@2400", "-0 +3; pending old young later; alarm 60; needed"},
                {"clock 1500, restart", "sent young; pending later; screen 1young; alarm 2400; listening"},
                // The clock was wrong: it ran days ahead.
                {"clock 8400, restart", "no pending; no alarm"},
                {"clock 2340, ring", "pending later; alarm 2400"}});
}

TEST_F(ReminderAgentTest, recordsADeliveryBeforeItIsSentSoThatAKillRepeatsNothing) {
    server.hold = true;
    story.play({{"keep a@1 b@1, until 1", "-0 +2; sent a; pending b; needed"}});
    server.hold = false;
    const auto killed = std::move(agent);
    startAgent();
    EXPECT_EQ(Scenario::list(server.sent), "a b");
    server.open();
}

TEST_F(ReminderAgentTest, waitsForAServerAndForgetsNothingMeanwhile) {
    story.play({{"server gone, keep a@1 b@120, until 60", "-0 +2; pending a b; alarm 120; needed"},
                {"keep b@120 c@61, until 61", "-2 +2; pending c b"},
                {"server second", "sent c; pending b; screen 1c; listening"}});
    // It ends between two calls: certainly not sent.
    server.outcome = NotificationServer::Outcome::notSent;
    story.play({{"until 120", "sent c b; no alarm"}});
    server.outcome = NotificationServer::Outcome::shown;
    story.play({{"server third", "sent c b b; no pending; screen 1c 2b"}, {"restart", ""}});
    // It ends during a call: perhaps sent.
    server.outcome = NotificationServer::Outcome::unknown;
    story.play({{"keep a@121 b@121, until 121", "-0 +2; sent c b b a b"},
                {"server fourth, restart", "no listening; no needed"}});
}

TEST_F(ReminderAgentTest, letsTheMinutePassInSilenceWithoutPermission) {
    store.permitted = false;
    story.play({{"keep a@1 b@1 c@60, until 30", "-0 +3; pending c; alarm 60; needed"}});
    store.permitted = true;
    story.play(
        {{"clock 30, restart", ""}, {"until 90", "sent c; no pending; screen 1c; no alarm; listening"}});
}

TEST_F(ReminderAgentTest, takesThePlaceOfTheTasksEarlierNotificationOnTheSameScreenOnly) {
    story.play({{"keep a@1, until 1", "-0 +1; sent a; screen 1a; listening; needed"}});
    store.pending.clear(); // the list is lost, and the log is not
    story.play({{"restart, keep a@2, until 2", "-0 +1; sent a a"},
                {"dismiss 1, keep a@3, until 3", "-0 +1; sent a a a; screen 2a"},
                {"server gone, server second, keep a@4, until 4", "-0 +1; sent a a a a; screen 3a"}});
}

TEST_F(ReminderAgentTest, opensTheProgramAndLeavesWhenNothingIsToComeAndNothingIsShown) {
    story.play({{"keep a@1 b@1, until 1", "-0 +2; sent a b; screen 1a 2b; listening; needed"},
                {"open 99", ""},
                {"restart, open 1", "screen 2b; opened brisko token"},
                {"open 1", ""},
                {"dismiss 2, restart", "no screen; no listening; no needed"}});
}

TEST_F(ReminderAgentTest, followsTheTimeZoneAndMeansTheHourThatWasStillToComeWhereClocksAreSetBack) {
    story.play({{"keep a@180 b@240", "-0 +2; pending a b; alarm 180; needed"},
                {"zone 3, zone-changed", "sent a; pending b; screen 1a; alarm 60; listening"},
                // Its minute comes again, and it does not.
                {"zone 0, zone-changed", "alarm 240"}});
    zone.changes = {{timeOf("60"), -1h}};
    story.play({{"keep half@30", "-1 +1; pending half; alarm 30"},
                {"until 50", "sent a half; no pending; screen 1a 2half; no alarm"},
                {"keep half@30, restart", "-0 +1; pending half; alarm 90"},
                {"until 180", "sent a half half; no pending; no alarm"}});
}

TEST_F(ReminderAgentTest, keepsItsLogShortAndStillKnowsWhatMatters) {
    keep("rent@1");
    passUntil("1");
    for (const auto start : {2, 30}) {
        std::string many;
        for (int number = 0; number < 400; ++number)
            many += std::to_string(number) + "@" + std::to_string(start + number / 20) + " ";
        keep(many);
        passUntil(std::to_string(start + 20));
    }
    EXPECT_GT(store.log.size(), 1600U);
    story.play({{"keep", "-0 +0"}, {"restart, keep rent@1", "-0 +1"}});
    EXPECT_LT(store.log.size(), 900U);
    EXPECT_EQ(server.onScreen.size(), 401U);
}
