#include "reminders/agent/PendingList.h"

#include "ForAll.h"
#include "reminders/agent/Deliveries.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;

PendingList anyList(std::mt19937_64& random) {
    const auto number = [&] { return anyOf<std::int64_t>(random, INT64_MIN, INT64_MAX); };
    PendingList list{anyOf<std::uint64_t>(random, 0, UINT64_MAX), {anyText(random), anyText(random)}, {}};
    for (auto count = anyOf(random, 0, 3); count > 0; --count) {
        NotificationRequest request{anyText(random), anyText(random), {}, number(), {}};
        if (count > 1)
            request.body = anyText(random);
        request.trigger = {anyOf(random, 1970, 300'000'000), anyOf(random, 1, 12), anyOf(random, 1, 31),
                           anyOf(random, 0, 23), anyOf(random, 0, 59)};
        list.reminders.push_back({request, sys_seconds(seconds(number()))});
    }
    return list;
}

/// It is read back as it was written; what a damaged disk makes of it is refused, or is a value like any
/// other.
template <class Value>
void expectReadBack(const Value& value) {
    EXPECT_EQ(Value::decode(value.encode()), value);
    forEachChangedByte(value.encode(), [](const std::string& changed) {
        if (const auto read = Value::decode(changed))
            EXPECT_EQ(Value::decode(read->encode()), read);
    });
}

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
    forAll(500, anyList, [](const auto& list) { EXPECT_EQ(PendingList::decode(list.encode()), list); });
    const NotificationRequest request{"a", "one", {}, -7, {300'000, 12, 31, 23, 59}};
    const PendingList list{12, {"brisko"}, {{request, sys_seconds(seconds(5))}}};
    expectReadBack(list);
    const auto text = list.encode();
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
    for (std::size_t length = 0; length + 2 < text.size(); ++length)
        EXPECT_FALSE(PendingList::decode(text.substr(0, length))) << length;
}

TEST(DeliveryEvent, readsBackWhatItWritesInOneLineAndNothingElse) {
    using Kind = DeliveryEvent::Kind;
    for (const auto& event : std::vector<DeliveryEvent>{
             {Kind::delivered, "brisko.task.7\n\"", 1'234'567'250, sys_seconds(seconds(-99'250)), "", 0},
             {Kind::withdrawn, "a", 0, {}, "", 0},
             {Kind::shown, "a", 0, {}, "guid :1.5", 4'294'967'295},
             {Kind::closed, "a", 0, {}, "", 0}}) {
        expectReadBack(event);
        EXPECT_EQ(event.encode().find('\n'), std::string::npos);
    }
    for (const auto* line :
         {"", "{}", "[]", "null", R"({"delivered":"a"})", R"({"shown":"a","server":5,"id":1})",
          R"({"shown":"a","server":"s","id":4294967296})", R"({"delivered":5,"sync":1,"moment":1})"})
        EXPECT_FALSE(DeliveryEvent::decode(line)) << line;
}
