#include "TestService.h"

#include <set>

using namespace Demo;
using namespace std::chrono_literals;

namespace {

class TaskEndpoints : public ServiceTest {
protected:
    std::string ada_ = client().signIn();

    Json tasks() const { return client().get("/api/tasks", ada_).json().at("tasks"); }
    Json add(const Json& fields) const { return client().post("/api/tasks", fields, ada_).json(); }
    std::string pathOf(const Json& task) const {
        return "/api/tasks/" + std::to_string(task.at("id").get<int>());
    }
};

TEST_F(TaskEndpoints, nothingIsReadOrWrittenWithoutASession) {
    const std::pair<const char*, const char*> requests[] = {
        {"GET", "/api/settings"},        {"PATCH", "/api/settings"},    {"GET", "/api/tasks"},
        {"POST", "/api/tasks"},          {"GET", "/api/tasks/1"},       {"PATCH", "/api/tasks/1"},
        {"DELETE", "/api/tasks/1"},      {"POST", "/api/tasks/import"}, {"POST", "/api/tasks/delete"},
        {"GET", "/api/tasks/export.csv"}};
    for (const auto& [method, path] : requests)
        for (const char* cookie : {"", "brisko_session=", "brisko_session=made-up"}) {
            const Response response = client().send(method, path, R"({"title": "x"})", cookie);
            EXPECT_EQ(response.status, 401u) << method << path;
            EXPECT_EQ(response.error(), "Please sign in.");
        }
    EXPECT_EQ(client().get("/api/tasks/1", ada_).status, 200u);
}

TEST_F(TaskEndpoints, seedShowsEveryListEveryColumnAndTheDaysAroundToday) {
    std::set<std::string> lists;
    std::set<std::string> statuses;
    std::set<std::string> days;
    for (const Json& task : tasks()) {
        lists.insert(task["list"]);
        statuses.insert(task["status"]);
        days.insert(task["dueDate"].is_null() ? "none" : task["dueDate"].get<std::string>());
    }
    EXPECT_GE(tasks().size(), 10u);
    EXPECT_GE(lists.size(), 3u);
    EXPECT_EQ(statuses, (std::set<std::string>{"doing", "done", "todo"}));
    GDateTime* now = g_date_time_new_now_local();
    EXPECT_TRUE(days.contains(GText(g_date_time_format(now, "%Y-%m-%d")).get()));
    EXPECT_TRUE(days.contains("none"));
    g_date_time_unref(now);
}

TEST_F(TaskEndpoints, taskIsAddedChangedAndDeleted) {
    const Json made = add({{"title", "  Write to Charles\n"}, {"notes", "<b>&"}, {"dueDate", "2028-02-29"}});
    EXPECT_EQ(made.at("title"), "Write to Charles");
    EXPECT_EQ(made.at("list"), "Inbox");
    EXPECT_EQ(made.at("status"), "todo");
    EXPECT_EQ(made.at("createdAt"), toMilliseconds(time()));

    const Json changed =
        client().patch(pathOf(made), {{"dueTime", "08:30"}, {"list", "Engine"}, {"id", 1}}, ada_).json();
    EXPECT_EQ(changed.at("dueTime"), "08:30");
    EXPECT_EQ(changed.at("dueDate"), "2028-02-29");
    EXPECT_EQ(changed.at("notes"), "<b>&");
    EXPECT_EQ(client().get(pathOf(made), ada_).json(), changed);

    EXPECT_EQ(client().send("DELETE", pathOf(made), "", ada_).status, 204u);
    EXPECT_EQ(client().get(pathOf(made), ada_).status, 404u);
    EXPECT_EQ(client().send("DELETE", pathOf(made), "", ada_).status, 404u);
    EXPECT_NE(add({{"title", "Next"}}).at("id"), made.at("id"));
}

TEST_F(TaskEndpoints, completionIsDatedOnceAndTakenBackWithTheStatus) {
    const Json task = add({{"title", "Weave"}, {"status", "doing"}});
    EXPECT_EQ(task.at("completedAt"), nullptr);
    const std::int64_t completed = toMilliseconds(time());
    client().patch(pathOf(task), {{"status", "done"}}, ada_);
    pass(1h);
    EXPECT_EQ(client().patch(pathOf(task), {{"title", "Wove"}}, ada_).json().at("completedAt"), completed);
    EXPECT_EQ(client().patch(pathOf(task), {{"status", "todo"}}, ada_).json().at("completedAt"), nullptr);
}

TEST_F(TaskEndpoints, fieldsThatBreakARuleChangeNothing) {
    const Json task = add({{"title", "Stays"}, {"dueDate", "2026-12-24"}, {"dueTime", "18:00"}});
    const Json before = tasks();
    for (const Json& fields :
         {Json{{"title", " "}}, Json{{"title", nullptr}}, Json{{"title", 5}},
          Json{{"title", std::string(201, 'x')}}, Json{{"notes", std::string(5001, 'x')}}, Json{{"list", ""}},
          Json{{"list", std::string(41, 'x')}}, Json{{"status", "later"}}, Json{{"dueDate", "2027-02-29"}},
          Json{{"dueDate", "2026-1-1"}}, Json{{"dueDate", "2026-13-01"}}, Json{{"dueDate", "-026-01-01"}},
          Json{{"dueDate", nullptr}}, Json{{"dueTime", "24:00"}}, Json{{"dueTime", "7:30"}},
          Json{{"dueTime", "12:60"}}, Json{{"title", "Half"}, {"dueTime", "x"}}}) {
        const Response response = client().patch(pathOf(task), fields, ada_);
        EXPECT_EQ(response.status, 400u) << fields;
        EXPECT_NE(response.error(), "") << fields;
    }
    EXPECT_EQ(client().post("/api/tasks", Json::object(), ada_).status, 400u);
    EXPECT_EQ(tasks(), before);
    // Lengths count characters, not bytes.
    std::string umlauts;
    for (int n = 0; n < 200; ++n)
        umlauts += "ü";
    EXPECT_EQ(client()
                  .patch(pathOf(task), {{"title", umlauts}, {"dueDate", nullptr}, {"dueTime", nullptr}}, ada_)
                  .status,
              200u);
}

TEST_F(TaskEndpoints, tasksOfAnotherAccountAreNotThere) {
    const std::string mary = client().post("/api/auth/register", signUpForm()).cookie();
    const std::string adas = pathOf(tasks().front());
    EXPECT_EQ(client().get(adas, mary).status, 404u);
    EXPECT_EQ(client().patch(adas, {{"title", "Mine"}}, mary).status, 404u);
    EXPECT_EQ(client().send("DELETE", adas, "", mary).status, 404u);
    EXPECT_EQ(client().get(adas, ada_).status, 200u);
}

TEST_F(TaskEndpoints, addressesThatAreNoTaskAreNotFound) {
    for (const char* path : {"/api/tasks/0", "/api/tasks/x", "/api/tasks/1x", "/api/tasks/99999999999",
                             "/api/tasks/", "/api/tasks/1/2", "/api/tasks/-1"})
        EXPECT_EQ(client().get(path, ada_).status, 404u) << path;
}

TEST_F(TaskEndpoints, settingsOfferTheBindingsUnderTheNamesThatTheMenusUse) {
    Json shortcuts = {{"newTask", "mod+n"},
                      {"spotlight", "mod+k"},
                      {"search", "mod+f"},
                      {"toggleView", "mod+shift+v"},
                      {"openSettings", "mod+,"}};
    EXPECT_EQ(client().get("/api/settings", ada_).json().at("shortcuts"), shortcuts);
    const Json wanted = {{"newTask", "alt+enter"}, {"search", ""}, {"unknown", "mod+u"}};
    const Json fields = {{"theme", "sand"}, {"view", "board"}, {"shortcuts", wanted}};
    const Json changed = client().patch("/api/settings", fields, ada_).json();
    shortcuts["newTask"] = "alt+enter";
    shortcuts["search"] = "";
    EXPECT_EQ(changed.at("theme"), "sand");
    EXPECT_EQ(changed.at("shortcuts"), shortcuts);
    EXPECT_EQ(client().get("/api/settings", ada_).json(), changed);
}

TEST_F(TaskEndpoints, settingsThatBreakARuleChangeNothing) {
    const Json before = client().get("/api/settings", ada_).json();
    for (const char* combo :
         {"n", "shift+n", "ctrl+n", "mod+", "+", "mod++", "mod+mod+n", "mod+ ", "mod+k"}) {
        const Json fields = {{"theme", "light"}, {"shortcuts", {{"newTask", combo}}}};
        EXPECT_EQ(client().patch("/api/settings", fields, ada_).status, 400u) << combo;
    }
    for (const Json& fields : {Json{{"theme", "neon"}}, Json{{"theme", 1}}, Json{{"view", ""}},
                               Json{{"shortcuts", {1}}}, Json{{"shortcuts", {{"newTask", nullptr}}}}})
        EXPECT_EQ(client().patch("/api/settings", fields, ada_).status, 400u) << fields;
    EXPECT_EQ(client().get("/api/settings", ada_).json(), before);
    EXPECT_EQ(client().patch("/api/settings", {{"shortcuts", {{"newTask", "F2"}}}}, ada_).status, 200u);
}

} // namespace
