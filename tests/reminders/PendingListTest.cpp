#include "reminders/agent/PendingList.h"

#include "reminders/agent/Deliveries.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

NotificationRequest request(std::string title, std::optional<std::string> body = {}) {
    return {"brisko.task.-7", std::move(title), std::move(body), -7, {300'000, 12, 31, 23, 59}};
}

} // namespace

TEST(RequestText, carriesEveryTextWholeUpToWhatANotificationShows) {
    const std::string nul("a\0b", 3);
    const std::vector<NotificationRequest> given = {request(""), request(nul, "\n\t\"\\\x7f \u202e<b>&amp;"),
                                                    request("שלום 🙂", "")};
    EXPECT_EQ(RequestText::decode(RequestText::encode(given)), given);

    const std::string smile = "🙂";
    std::string longTitle = "x";
    while (longTitle.size() < 1 << 20)
        longTitle += smile;
    const auto decoded = RequestText::decode(RequestText::encode({request(longTitle, "a\xff\xc3")}));
    ASSERT_TRUE(decoded);
    const auto& title = decoded->front().title;
    EXPECT_TRUE(title.starts_with("x🙂") && title.ends_with("🙂…")) << title;
    EXPECT_LE(title.size(), RequestText::titleLimit + 3);
    EXPECT_EQ(decoded->front().body, "a\ufffd\ufffd");
}

TEST(PendingList, readsBackWhatItWritesAndNothingElse) {
    PendingList list;
    list.sync = 12;
    list.command = {"/usr/bin/brisko", "--profile", "/a b"};
    list.reminders = {{request("one"), std::chrono::sys_seconds(5s)},
                      {request("two", "body"), std::chrono::sys_seconds(6s)}};
    const auto text = list.encode();
    EXPECT_EQ(PendingList::decode(text), list);
    EXPECT_EQ(PendingList::decode(PendingList().encode()), PendingList());

    const std::pair<const char*, const char*> changes[] = {{"\"version\":1", "\"version\":2"},
                                                           {"\"sync\":12", "\"sync\":\"12\""},
                                                           {"[300000,12", "[300000,13"},
                                                           {"23,59]", "23,60]"},
                                                           {"23,59]", "23]"},
                                                           {"[300000,", "[1.5e300,"},
                                                           {"\"identifier\"", "\"name\""},
                                                           {"\"taskId\":-7", "\"taskId\":{}"},
                                                           {"[\"/usr", "[5,\"/usr"},
                                                           {"\"reminders\"", "\"reminder\""},
                                                           {"\"one\"", "1"}};
    for (const auto& [from, to] : changes) {
        auto changed = text;
        changed.replace(changed.find(from), std::string(from).size(), to);
        EXPECT_FALSE(PendingList::decode(changed)) << to;
    }
    for (std::size_t length = 0; length + 2 < text.size(); length += 7)
        EXPECT_FALSE(PendingList::decode(text.substr(0, length))) << length;
}

TEST(DeliveryEvent, readsBackWhatItWritesAndNothingElse) {
    using Kind = DeliveryEvent::Kind;
    const DeliveryEvent events[] = {
        {Kind::delivered, "brisko.task.7\n\"", 3, std::chrono::sys_seconds(99s), "", 0},
        {Kind::withdrawn, "a", 0, {}, "", 0},
        {Kind::shown, "a", 0, {}, "guid :1.5", 4'294'967'295},
        {Kind::closed, "a", 0, {}, "", 0}};
    for (const auto& event : events) {
        EXPECT_EQ(DeliveryEvent::decode(event.encode()), event);
        EXPECT_EQ(event.encode().find('\n'), std::string::npos);
    }
    for (const auto* line :
         {"", "{}", "[]", "null", "{\"delivered\":\"a\"}", "{\"shown\":\"a\",\"server\":5,\"id\":1}",
          "{\"delivered\":5,\"sync\":1,\"moment\":1}"})
        EXPECT_FALSE(DeliveryEvent::decode(line)) << line;
}
