#include "reminders/Reminders.h"

#include "fakes/FakeLock.h"
#include "fakes/FakeNotifications.h"
#include "platform/Outcome.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace std::chrono_literals;

namespace {

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
    Json item(Json id, Json at, Json title = "Pay rent") const {
        return {{"id", std::move(id)}, {"title", std::move(title)}, {"at", std::move(at)}};
    }
    Reminders::Result sync(Json items) { return begin(reminders.sync(std::move(items)))->value.value(); }
    std::vector<std::string> pending() const {
        std::vector<std::string> identifiers;
        for (const auto& request : center.pending)
            identifiers.push_back(request.identifier);
        return identifiers;
    }
};

using Result = Reminders::Result;
using Identifiers = std::vector<std::string>;

} // namespace

TEST_F(RemindersTest, makesARequestOfAnItemAndDropsTheSecondsOfItsMoment) {
    zone.offset = 1h;
    auto rent = item(7, in(1h + 30min + 45s));
    rent["body"] = "to Ann";
    EXPECT_EQ(sync(Json::array({rent})), (Result{1, 0}));
    const NotificationRequest expected = {"brisko.task.7", "Pay rent", "to Ann", 7, {2027, 1, 15, 10, 30}};
    ASSERT_EQ(center.pending.size(), 1U);
    EXPECT_EQ(center.pending[0], expected);

    for (const auto& body : {Json(""), Json(3), Json(nullptr), Json::object()}) {
        rent["body"] = body;
        sync(Json::array({rent}));
        EXPECT_EQ(center.pending[0].body, std::nullopt) << body;
    }
}

TEST_F(RemindersTest, takesWholeNumbersAsIdsWhateverTheirKind) {
    const std::pair<Json, std::string> whole[] = {
        {7, "7"},
        {7.0, "7"},
        {-0.0, "0"},
        {-5, "-5"},
        {9007199254740993, "9007199254740993"},
        {std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"},
        {std::numeric_limits<std::int64_t>::max(), "9223372036854775807"}};
    for (const auto& [id, text] : whole) {
        sync(Json::array({item(id, in(1h))}));
        EXPECT_EQ(pending(), Identifiers{"brisko.task." + text}) << id;
    }
    for (const auto& id :
         {Json(7.5), Json("7"), Json(true), Json(), Json(biggest), Json(9223372036854775808.0), Json(1e300),
          Json(infinity), Json(std::nan("")), Json::array({7})})
        EXPECT_EQ(sync(Json::array({item(id, in(1h))})).scheduled, 0U) << id;
}

TEST_F(RemindersTest, schedulesWhatIsStrictlyLaterThanNow) {
    clock.time += 400us;
    for (const auto& at : {Json(in(1ms)), Json(std::ceil(in(0ms))), Json(1900000000000), Json(8.64e15)})
        EXPECT_EQ(sync(Json::array({item(1, at)})).scheduled, 1U) << at;
    for (const auto& at : {Json(in(0ms)), Json(in(-1ms)), Json(std::floor(in(0ms))), Json("1900000000000"),
                           Json(true), Json(std::nan("")), Json(infinity), Json(-infinity), Json(0),
                           Json(-1e300), Json(1e300), Json(biggest)})
        EXPECT_EQ(sync(Json::array({item(1, at)})).scheduled, 0U) << at;
    sync(Json::array({item(1, 9404918380800000.0)}));
    EXPECT_EQ(center.pending[0].trigger, (LocalMinute{300'000, 1, 1, 0, 0}));
    sync(Json::array({item(1, 9.2e18)}));
    EXPECT_GT(center.pending[0].trigger.year, 291'000'000);
}

TEST_F(RemindersTest, leavesOutWhatIsNoItemAndKeepsTheRest) {
    Json items = {1,
                  "text",
                  nullptr,
                  Json::array(),
                  Json::object(),
                  {{"id", 1}, {"at", in(1h)}},
                  {{"id", 1}, {"title", "x"}},
                  item(1, in(1h), 5),
                  item(2, in(1h), ""),
                  item(3, in(1h), std::string(1 << 20, 'x')),
                  item(3, in(2h), "\xd7\xa9\x01<b>")};
    EXPECT_EQ(sync(items), (Result{3, 0})) << "each is counted";
    EXPECT_EQ(pending(), (Identifiers{"brisko.task.2", "brisko.task.3"})) << "the last one stands";
    for (const auto& none : {Json(), Json("items"), Json(5)})
        EXPECT_EQ(sync(none).scheduled, 0U);
}

TEST_F(RemindersTest, replacesItsOwnRequestsOnly) {
    center.pending = {
        {"brisko.task", "", {}, 0, {}}, {"other", "", {}, 0, {}}, {"brisko.task.x", "", {}, 0, {}}};
    EXPECT_EQ(sync({item(1, in(1h)), item(2, in(2h)), item(1, in(-1h))}), (Result{2, 1}));
    EXPECT_EQ(pending(), (Identifiers{"brisko.task", "other", "brisko.task.1", "brisko.task.2"}));
    EXPECT_EQ(sync(Json::array()), (Result{0, 2}));
    EXPECT_EQ(pending(), (Identifiers{"brisko.task", "other"}));
}

TEST_F(RemindersTest, showsInTheDockHowManyAreDueBeforeTomorrow) {
    zone.offset = -5h; // 03:00
    sync({item(1, in(1h)), item(2, in(21h - 1ms)), item(3, in(21h)), item(4, in(24h * 7)), item(5, in(-1h))});
    EXPECT_EQ(dock.badges.back(), 2);
    // Clocks are set forward tonight: the day ends an hour earlier.
    zone.changes[std::chrono::floor<std::chrono::seconds>(clock.time) + 10h] = -4h;
    sync({item(2, in(20h - 1ms)), item(3, in(20h))});
    EXPECT_EQ(dock.badges.back(), 1);
    sync(Json::array());
    EXPECT_EQ(dock.badges.back(), 0);
}

TEST_F(RemindersTest, tellsWhatIsReallyKept) {
    sync(Json::array({item(1, in(1h))}));
    center.full = true;
    EXPECT_EQ(sync({item(2, in(1h)), item(3, in(1h))}), Result());
    EXPECT_EQ(pending(), Identifiers{"brisko.task.1"});
    center.unavailable = true;
    EXPECT_EQ(sync(Json::array({item(2, in(1h))})), Result());
}
