#include "reminders/agent/PendingList.h"

#include "reminders/agent/Deliveries.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;

} // namespace

TEST(RequestText, carriesAsMuchOfATextAsANotificationShows) {
    NotificationRequest request{"a", "x", "a\xff\xc3", 1, {2027, 1, 1, 0, 0}};
    while (request.title.size() < 1 << 20)
        request.title += "🙂";
    const auto cut = RequestText::decode(RequestText::encode({request})).value().at(0);
    EXPECT_TRUE(cut.title.starts_with("x🙂") && cut.title.ends_with("🙂…")) << cut.title;
    EXPECT_LE(cut.title.size(), RequestText::titleLimit + 3);
    EXPECT_EQ(cut.body, "a\ufffd\ufffd");
}

TEST(PendingList, readsBackWhatItWritesAndNothingElse) {
    const NotificationRequest request{"a", "one", {}, -7, {300'000, 12, 31, 23, 59}};
    const NotificationRequest other{"b", "\"\\\n\x7f é\u202e🙂", "<&%", INT64_MIN, {1970, 1, 1, 0, 0}};
    const PendingList both{UINT64_MAX, {"", "/"}, {{request, sys_seconds(seconds(5))}, {other, {}}}};
    EXPECT_EQ(PendingList::decode(both.encode()), both);
    const auto text = PendingList{12, {"brisko"}, {{request, sys_seconds(seconds(5))}}}.encode();
    for (const std::string change :
         {R"("version":1 > "version":2)", R"("sync":12 > "sync":"12")", R"("sync":12 > "sync":-1e250)",
          "[300000, > [1.5e300,", ",12,31 > ,13,31", ",12,31 > ,4294967308,31", "23,59 > 23,60", "23,59 > 23",
          R"("taskId":-7 > "taskId":{})", R"("taskId":-7 > "taskId":1.5e300)", R"("added":5 > "added":1e19)",
          "identifier > name", R"("one" > 1)", R"("brisko" > 5)", "reminders > reminder"}) {
        auto changed = text;
        const auto from = change.substr(0, change.find(" > "));
        changed.replace(changed.find(from), from.size(), change.substr(from.size() + 3));
        EXPECT_FALSE(PendingList::decode(changed)) << changed;
    }
}

TEST(DeliveryEvent, readsBackWhatItWritesInOneLineAndNothingElse) {
    using Kind = DeliveryEvent::Kind;
    for (const auto& event : std::vector<DeliveryEvent>{
             {Kind::delivered, "brisko.task.7\n\"", 1'234'567'250, sys_seconds(seconds(-99'250)), "", 0},
             {Kind::withdrawn, "a", 0, {}, "", 0},
             {Kind::shown, "a", 0, {}, "guid :1.5", 4'294'967'295}}) {
        EXPECT_EQ(DeliveryEvent::decode(event.encode()), event);
        EXPECT_EQ(event.encode().find('\n'), std::string::npos);
    }
    for (const auto* line : {"[]", R"({"shown":"a","server":"s","id":4294967296})", R"({"delivered":5})"})
        EXPECT_FALSE(DeliveryEvent::decode(line)) << line;
}
