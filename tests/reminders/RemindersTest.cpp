#include "reminders/Reminders.h"

#include "fakes/FakeLock.h"
#include "fakes/FakeNotifications.h"
#include "platform/Outcome.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace std::chrono_literals;

namespace {

using Result = Reminders::Result;
using Identifiers = std::vector<std::string>;

constexpr auto infinity = std::numeric_limits<double>::infinity();
constexpr auto biggest = std::numeric_limits<std::uint64_t>::max();

class RemindersTest : public testing::Test {
protected:
    FakeNotificationQuestion question;
    FakeNotificationCenter center{question};
    FakeDock dock;
    FakeClock clock; // 2027-01-15 08:00:00 UTC
    FakeTimeZone zone;
    Reminders reminders{center, dock, clock, zone};

    double in(std::chrono::duration<double, std::milli> time) const {
        return std::chrono::duration<double, std::milli>(clock.time.time_since_epoch() + time).count();
    }
    static Json item(Json id, Json at, Json title = "Pay rent") {
        return {{"id", std::move(id)}, {"title", std::move(title)}, {"at", std::move(at)}};
    }
    Result sync(Json items) { return begin(reminders.sync(std::move(items)))->value.value(); }
    Result syncOne(Json item) { return sync(Json::array({std::move(item)})); }
    Identifiers pending() { return begin(center.pendingIdentifiers())->value.value(); }
};

} // namespace

TEST_F(RemindersTest, makesARequestOfAnItemAndDropsTheSecondsOfItsMoment) {
    zone.offset = 1h;
    auto rent = item(7, in(1h + 30min + 45s));
    rent["body"] = "to Ann";
    EXPECT_EQ(syncOne(rent), (Result{1, 0}));
    const NotificationRequest expected = {"brisko.task.7", "Pay rent", "to Ann", 7, {2027, 1, 15, 10, 30}};
    EXPECT_EQ(center.pending, std::vector{expected});
    for (const auto& body : {Json(""), Json(3), Json(nullptr), Json::object()}) {
        rent["body"] = body;
        syncOne(rent);
        EXPECT_EQ(center.pending[0].body, std::nullopt) << body;
    }
}

TEST_F(RemindersTest, takesWholeNumbersAsIdsWhateverTheirKind) {
    for (const auto& [id, text] : {std::pair(Json(7), "7"),
                                   {7.0, "7"},
                                   {-0.0, "0"},
                                   {9007199254740993, "9007199254740993"},
                                   {std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"},
                                   {std::numeric_limits<std::int64_t>::max(), "9223372036854775807"}}) {
        syncOne(item(id, in(1h)));
        EXPECT_EQ(pending(), Identifiers{std::string("brisko.task.") + text}) << id;
    }
    for (const auto& id :
         {Json(7.5), Json("7"), Json(true), Json(), Json(biggest), Json(9223372036854775808.0), Json(1e300),
          Json(infinity), Json(std::nan("")), Json::array({7})})
        EXPECT_EQ(syncOne(item(id, in(1h))).scheduled, 0U) << id;
}

TEST_F(RemindersTest, schedulesWhatIsStrictlyLaterThanNow) {
    clock.time += 400us;
    for (const auto& at : {Json(in(1ms)), Json(std::ceil(in(0ms))), Json(1900000000000), Json(8.64e15)})
        EXPECT_EQ(syncOne(item(1, at)).scheduled, 1U) << at;
    for (const auto& at :
         {Json(in(0ms)), Json(in(-1ms)), Json(std::floor(in(0ms))), Json("1900000000000"), Json(true),
          Json(std::nan("")), Json(infinity), Json(-infinity), Json(-1e300), Json(1e300), Json(biggest)})
        EXPECT_EQ(syncOne(item(1, at)).scheduled, 0U) << at;
    syncOne(item(1, 9404918380800000.0));
    EXPECT_EQ(center.pending[0].trigger, (LocalMinute{300'000, 1, 1, 0, 0}));
    syncOne(item(1, 9.2e18));
    EXPECT_GT(center.pending[0].trigger.year, 291'000'000);
}

TEST_F(RemindersTest, leavesOutWhatIsNoItemAndKeepsTheRestAndWhatIsOfOthers) {
    center.pending = {{"brisko.task", "", {}, 0, {}}, {"brisko.task.x", "", {}, 0, {}}};
    EXPECT_EQ(sync({1,
                    "text",
                    nullptr,
                    Json::array(),
                    Json::object(),
                    {{"id", 1}, {"at", in(1h)}},
                    {{"id", 1}, {"title", "x"}},
                    item(1, in(1h), 5),
                    item(2, in(1h), ""),
                    item(3, in(1h)),
                    item(3, in(2h), "\xd7\xa9\x01<b>")}),
              (Result{3, 1}));
    EXPECT_EQ(pending(), (Identifiers{"brisko.task", "brisko.task.2", "brisko.task.3"}));
    for (const auto& none : {Json(), Json("items"), Json(5)})
        EXPECT_EQ(sync(none).scheduled, 0U);
    center.full = true;
    EXPECT_EQ(syncOne(item(1, in(1h))), Result()) << "it tells what is really kept";
}

TEST_F(RemindersTest, showsInTheDockHowManyAreDueBeforeTomorrow) {
    zone.offset = -5h; // 03:00
    sync({item(1, in(1h)), item(2, in(21h - 1ms)), item(3, in(21h)), item(4, in(24h * 7)), item(5, in(-1h))});
    EXPECT_EQ(dock.badge, 2);
    // Clocks are set forward tonight: the day ends an hour earlier.
    zone.changes[std::chrono::floor<std::chrono::seconds>(clock.time) + 10h] = -4h;
    sync({item(2, in(20h - 1ms)), item(3, in(20h))});
    EXPECT_EQ(dock.badge, 1);
    sync(Json::array());
    EXPECT_EQ(dock.badge, 0);
}
