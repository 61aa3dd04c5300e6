#include "reminders/Reminders.h"

#include "fakes/FakeDownloads.h"
#include "fakes/FakeLock.h"
#include "fakes/FakeNotifications.h"
#include "platform/Outcome.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace std::chrono_literals;

namespace {

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
    /// Sends a list, or one item. "+1 -0", what has been scheduled and cleared, and what is pending then.
    std::string sync(const Json& items) {
        const auto list = items.is_object() ? Json::array({items}) : items;
        const auto [scheduled, cleared] = begin(reminders.sync(list))->value.value();
        auto text = "+" + std::to_string(scheduled) + " -" + std::to_string(cleared);
        for (const auto& request : center.pending)
            text += " " + request.identifier.substr(std::string_view("brisko.").size());
        return text;
    }
};

} // namespace

TEST_F(RemindersTest, makesARequestOfAnItemAndDropsTheSecondsOfItsMoment) {
    zone.offset = 1h;
    auto rent = item(7, in(1h + 30min + 45s));
    rent["body"] = "to Ann";
    EXPECT_EQ(sync(rent), "+1 -0 task.7");
    const NotificationRequest expected = {"brisko.task.7", "Pay rent", "to Ann", 7, {2027, 1, 15, 10, 30}};
    EXPECT_EQ(center.pending, std::vector{expected});
    rent["body"] = "";
    zone.chosen = 3h;
    sync(rent);
    EXPECT_EQ(center.pending[0].trigger.hour, 12) << "the person has moved";
    EXPECT_EQ(center.pending[0].body, std::nullopt);
}

TEST_F(RemindersTest, takesWholeNumbersAsIdsAndMomentsThatAreStrictlyLaterThanNow) {
    for (const auto& [id, text] : {std::pair(Json(7.0), "7"),
                                   {9007199254740993, "9007199254740993"},
                                   {std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"}}) {
        center.pending.clear();
        EXPECT_EQ(sync(item(id, in(1h))), std::string("+1 -0 task.") + text);
    }
    center.pending.clear();
    for (const auto& id : {Json(7.5), Json("7"), Json(), Json(biggest), Json(9223372036854775808.0)})
        EXPECT_EQ(sync(item(id, in(1h))), "+0 -0") << id;
    clock.time += 400us;
    for (const auto& at : {Json(in(0ms)), Json(std::floor(in(0ms))), Json("1900000000000"),
                           Json(std::nan("")), Json(-1e300), Json(1e300), Json(biggest)})
        EXPECT_EQ(sync(item(1, at)), "+0 -0") << at;
    for (const auto& [at, year] :
         {std::pair(std::ceil(in(0ms)), 2027), {9404918380800000.0, 300'000}, {9.2e18, 291'538'364}}) {
        sync(item(1, at));
        ASSERT_EQ(center.pending.size(), 1U) << at;
        EXPECT_EQ(center.pending[0].trigger.year, year) << at;
    }
}

TEST_F(RemindersTest, leavesOutWhatIsNoItemAndKeepsTheRestAndWhatIsOfOthers) {
    center.pending = {{"brisko.task", "", {}, 0, {}}, {"brisko.task.x", "", {}, 0, {}}};
    const auto items = R"([1, "text", null, [], {}, {"id": 1, "at": 9e12}, {"id": 1, "title": "x"},
        {"id": 1, "title": 5, "at": 9e12}, {"id": 2, "title": "", "at": 9e12}, {"id": 3, "title": "x", "at": 9e12},
        {"id": 3, "title": "ש\u0001<b>", "at": 9e13}])";
    EXPECT_EQ(sync(parseJson(items)), "+3 -1 task task.2 task.3");
    EXPECT_EQ(sync("items"), "+0 -2 task");
    center.full = true;
    EXPECT_EQ(sync(item(1, in(1h))), "+0 -0 task") << "it tells what is really kept";
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
