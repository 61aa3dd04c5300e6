#include "PageScript.h"

#include <gmock/gmock.h>

using namespace Demo;
using Json = nlohmann::json;
using ::testing::HasSubstr;

namespace {

Json read(const PageScript& reader, const std::string& csv) {
    return reader.value("tasksFrom(" + Json(csv).dump() + ")");
}

TEST(PageLinks, addressesAreFoundWithoutTheSentenceAroundThem) {
    const PageScript links("links.js");
    const std::pair<const char*, Json> cases[] = {
        {"See https://a.example/x?y=1#z, then http://b.example.",
         {"https://a.example/x?y=1#z", "http://b.example"}},
        {"(https://a.example/w_(x)) https://a.example/w_(x)", {"https://a.example/w_(x)"}},
        {"\"https://a.example\" <HTTPS://B.example/>\nhttps://c.example!",
         {"https://a.example", "HTTPS://B.example/", "https://c.example"}},
        {"javascript:alert(1) file:///etc/passwd ftp://a.example http:// https://. xhttps://a.example",
         Json::array()},
        {"", Json::array()}};
    for (const auto& [text, addresses] : cases)
        EXPECT_EQ(links.value("addressesIn(" + Json(text).dump() + ")"), addresses) << text;
}

TEST(PageReminders, areForOpenTasksWithATimeStillToCome) {
    const PageScript reminders("reminders.js");
    const auto task = [](int id, const char* status, Json date, Json time) {
        return Json{{"id", id},
                    {"title", "T"},
                    {"list", "Home"},
                    {"notes", "private"},
                    {"status", status},
                    {"dueDate", std::move(date)},
                    {"dueTime", std::move(time)}};
    };
    const Json tasks = {task(1, "todo", "2026-12-24", "18:30"), task(2, "doing", "2026-12-25", "00:00"),
                        task(3, "done", "2026-12-24", "18:30"), task(4, "todo", "2026-12-24", nullptr),
                        task(5, "todo", nullptr, nullptr),      task(6, "todo", "2026-12-24", "18:29"),
                        task(7, "todo", "2026-12-23", "23:00")};
    const Json found = reminders.value("remindersOf(" + tasks.dump() + ", +new Date(2026, 11, 24, 18, 29))");
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0], Json({{"id", 1},
                              {"title", "T"},
                              {"body", "Home"},
                              {"at", reminders.value("+new Date(2026, 11, 24, 18, 30)")}}));
    EXPECT_EQ(found[1].at("id"), 2);
}

TEST(CsvReader, takesWhatSpreadsheetsWrite) {
    const PageScript reader("csv.js");
    const Json one = {{"title", "a"}, {"notes", "b\nc"}};
    for (const char* csv : {"\xEF\xBB\xBFTitle,Notes\r\na,\"b\r\nc\"\r\n", "notes,TITLE\n\"b\nc\",a",
                            "Title,x,Notes\ra,,\"b\nc\"\r", "Title,Notes\n\n,\na,\"b\nc\"\n,,\n",
                            "Title,Notes\n\"a\",\"b\nc\""})
        EXPECT_EQ(read(reader, csv), Json::array({one})) << csv;
    EXPECT_EQ(read(reader, "due_date,Due time,STATUS,Title\n2026-01-02,9:05:00,In progress, x \n"),
              Json::array(
                  {{{"title", "x"}, {"status", "doing"}, {"dueDate", "2026-01-02"}, {"dueTime", "09:05"}}}));
}

TEST(CsvReader, saysWhatIsWrongWithAnyOtherFile) {
    const PageScript reader("csv.js");
    const std::pair<const char*, const char*> cases[] = {
        {"", "no column"},
        {"hello\nworld\n", "no column"},
        {"Title;List\na;b\n", "separated by commas"},
        {"Title\n", "no tasks"},
        {"Title,List\n,Home\n", "no title in line 2"},
        {"Title\na,b\n", "more cells in line 2"},
        {"Title\n\"a", "line 2 that is never closed"},
        {"Title\n\"x\ny\"\n\"a\"b\n", "out of place in line 4"},
        {"Title\na\"b\n", "out of place in line 2"},
        {"Title,Status\na,later\n", "“later” in line 2"},
        {"Title,Due date\na,24.12.2026\n", "“24.12.2026” in line 2"},
        {"Title,Due time\na,noon\n", "“noon” in line 2"}};
    for (const auto& [csv, complaint] : cases)
        EXPECT_THAT(read(reader, csv).value("error", ""), HasSubstr(complaint)) << csv;
}

} // namespace
