#include "PageScript.h"
#include "TestService.h"
#include "demo/TasksCsv.h"

#include <gmock/gmock.h>

using namespace Demo;
using ::testing::HasSubstr;

namespace {

/// The fields of the tasks in a CSV file, as the page reads them.
Json tasksIn(const std::string& csv) {
    return PageScript("csv.js").value("tasksFrom(" + Json(csv).dump() + ")");
}

Json taskNamed(const std::string& title) {
    return {{"title", title}};
}

TEST(TasksCsv, cellsAreQuotedWhereTheyMustBeAndNeverRunAsFormulas) {
    const std::pair<const char*, const char*> cases[] = {{"plain; text", "plain; text"},
                                                         {"a, b", "\"a, b\""},
                                                         {"say \"yes\"", "\"say \"\"yes\"\"\""},
                                                         {"two\r\nlines\n", "\"two\r\nlines\n\""},
                                                         {"=1+1", "'=1+1"},
                                                         {"@SUM(A1,A2)", "\"'@SUM(A1,A2)\""},
                                                         {"-", "'-"},
                                                         {"\n+", "\"'\n+\""},
                                                         {"''=x", "'''=x"},
                                                         {"'tis", "'tis"},
                                                         {"Übung", "Übung"}};
    for (const auto& [notes, cell] : cases) {
        Tasks tasks;
        tasks.add({{"title", "T"}, {"notes", notes}, {"dueDate", "2026-12-24"}, {"dueTime", "08:05"}}, {});
        EXPECT_EQ(tasksToCsv(tasks.all()), std::string("Title,List,Status,Due date,Due time,Notes\r\n"
                                                       "T,Inbox,To do,2026-12-24,08:05,") +
                                               cell + "\r\n");
    }
}

TEST(TasksCsv, pageReadsBackWhatTheServiceExports) {
    Tasks tasks;
    for (const char* title : {"=HYPERLINK(\"x\")", "''-1", "'plain", "a \"b\", c", "@x\ny", "ÄÖÜ 🎉"})
        tasks.add({{"title", title}, {"notes", title}, {"list", "+1"}, {"status", "doing"}}, {});
    tasks.add({{"title", "Timed"}, {"status", "done"}, {"dueDate", "2026-02-28"}, {"dueTime", "23:59"}}, {});

    Tasks again;
    again.addAll(tasksIn(tasksToCsv(tasks.all())), {});
    EXPECT_EQ(again.toJson(), tasks.toJson());
}

class ImportExport : public ServiceTest {
protected:
    std::string ada_ = client().signIn();

    std::size_t count() const { return client().get("/api/tasks", ada_).json().at("tasks").size(); }
    Response importTasks(const Json& tasks) const {
        return client().post("/api/tasks/import", {{"tasks", tasks}}, ada_);
    }
};

TEST_F(ImportExport, exportIsADownloadOfTheAccountsOwnTasks) {
    const Response table = client().get("/api/tasks/export.csv", ada_);
    EXPECT_EQ(table.header("content-type"), "text/csv; charset=utf-8");
    EXPECT_EQ(table.header("content-disposition"), "attachment; filename=\"brisko tasks.csv\"");
    EXPECT_EQ(tasksIn(table.body).size(), count());
    const std::string mary = client().post("/api/auth/register", signUpForm()).cookie();
    EXPECT_EQ(client().get("/api/tasks/export.csv", mary).body,
              "Title,List,Status,Due date,Due time,Notes\r\n");
}

TEST_F(ImportExport, importAddsAllTasksOrNone) {
    const std::size_t before = count();
    const Response added =
        importTasks({taskNamed("One"), {{"title", "Two"}, {"status", "done"}, {"list", "Home"}}});
    EXPECT_EQ(added.status, 201u);
    EXPECT_EQ(added.json().at("tasks")[1].at("completedAt"), toMilliseconds(time()));
    EXPECT_EQ(count(), before + 2);

    EXPECT_EQ(importTasks({taskNamed("Good"), {{"title", "Bad"}, {"dueDate", "2027-02-29"}}}).error(),
              "Task 2: There is no such day.");
    for (const Json& wrong :
         {Json(), Json("x"), Json::array(), Json::array({1}), Json::array({Json::object()})})
        EXPECT_EQ(importTasks(wrong).status, 400u) << wrong;
    EXPECT_EQ(importTasks(Json(1001, taskNamed("x"))).status, 400u);
    EXPECT_EQ(count(), before + 2);

    for (int n = 0; n < 4; ++n)
        EXPECT_EQ(importTasks(Json(1000, taskNamed("x"))).status, 201u);
    EXPECT_THAT(importTasks(Json(1000, taskNamed("x"))).error(), HasSubstr("no room"));
    EXPECT_EQ(count(), before + 4002);
}

TEST_F(ImportExport, manyTasksAreDeletedAtOnceAndOnlyTheAccountsOwn) {
    const std::size_t before = count();
    const std::string mary = client().post("/api/auth/register", signUpForm()).cookie();
    const auto deleted = [&](const Json& ids, const std::string& cookie) {
        return client().post("/api/tasks/delete", {{"ids", ids}}, cookie).json().value("deleted", -1);
    };
    EXPECT_EQ(deleted({1, 2, 3}, mary), 0);
    EXPECT_EQ(deleted({1, 2, 2, 999, -1}, ada_), 2);
    EXPECT_EQ(deleted({1}, ada_), 0);
    for (const Json& wrong : {Json(), Json(1), Json({"1"}), Json({1, nullptr}), Json({1.5})})
        EXPECT_EQ(deleted(wrong, ada_), -1) << wrong;
    EXPECT_EQ(count(), before - 2);
}

} // namespace
