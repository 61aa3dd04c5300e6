#include "TestService.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

using namespace Demo;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

class StateFiles : public ServiceTest {
protected:
    std::string file_ = folder_.file("state.json");

    static std::string contents(const std::string& path) {
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }
    static void write(const std::string& path, const std::string& text) { std::ofstream(path) << text; }
};

TEST_F(StateFiles, restartKeepsAccountsSessionsTasksAndSettings) {
    start(file_);
    const std::string mary = client().post("/api/auth/register", signUpForm()).cookie();
    const Json fields = {
        {"title", "Übersetzen"}, {"status", "done"}, {"dueDate", "2026-12-24"}, {"dueTime", "18:30"}};
    const Json task = client().post("/api/tasks", fields, mary).json();
    EXPECT_EQ(task.at("dueTime"), "18:30");
    client().patch("/api/settings", {{"theme", "dusk"}, {"shortcuts", {{"search", ""}}}}, mary);
    const std::string closed = client().signIn();
    client().post("/api/auth/logout", Json::object(), closed);

    start(file_);
    EXPECT_EQ(client().get("/api/tasks", mary).json().at("tasks"), Json::array({task}));
    EXPECT_EQ(client().get("/api/settings", mary).json().at("theme"), "dusk");
    EXPECT_EQ(client().get("/api/settings", mary).json().at("shortcuts").at("search"), "");
    EXPECT_EQ(client().get("/api/settings", closed).status, 401u);
    EXPECT_NE(client().signIn("mary", "mechanism of the heavens"), "");

    client().send("DELETE", "/api/tasks/" + std::to_string(task.at("id").get<int>()), "", mary);
    start(file_);
    EXPECT_NE(client().post("/api/tasks", {{"title", "Next"}}, mary).json().at("id"), task.at("id"));
}

TEST_F(StateFiles, tasksThatWereStoredWithoutATimeAreStillRead) {
    start(file_);
    client().signIn();
    Json state = Json::parse(contents(file_));
    for (Json& task : state["accounts"][0]["tasks"]["tasks"])
        task.erase("dueTime");
    write(file_, state.dump());
    start(file_);
    const Json tasks = client().get("/api/tasks", client().signIn()).json().at("tasks");
    EXPECT_EQ(tasks.size(), state["accounts"][0]["tasks"]["tasks"].size());
    EXPECT_EQ(tasks[0].at("dueTime"), nullptr);
    EXPECT_NE(tasks[0].at("dueDate"), nullptr);
}

TEST_F(StateFiles, fileIsTheOwnersOnlyAndOpensNothing) {
    start(file_);
    const std::string cookie = client().signIn();
    struct stat status = {};
    ASSERT_EQ(stat(file_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    EXPECT_THAT(contents(file_), Not(HasSubstr(cookie.substr(cookie.find('=') + 1))));
    EXPECT_THAT(contents(file_), Not(HasSubstr("lovelace")));
}

TEST_F(StateFiles, damagedFileIsKeptAsideAndTheServiceStartsAfresh) {
    start(file_);
    client().signIn();
    const std::string good = contents(file_);
    const Json state = Json::parse(good);
    Json badTask = state;
    badTask["accounts"][0]["tasks"]["tasks"][0]["title"] = "";
    Json badHash = state;
    badHash["accounts"][0]["password"]["rounds"] = 2'000'000'000;
    Json badSession = state;
    badSession["sessions"]["x"] = {{"username", "ada"}};
    Json otherVersion = state;
    otherVersion["version"] = 2;

    int n = 0;
    for (const std::string& damaged :
         {std::string(), std::string("[]"), good.substr(0, good.size() / 2), badTask.dump(), badHash.dump(),
          badSession.dump(), otherVersion.dump()}) {
        write(file_, damaged);
        testing::internal::CaptureStderr();
        start(file_);
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("damaged"));
        const std::string aside = file_ + ".damaged" + (++n == 1 ? "" : "-" + std::to_string(n));
        EXPECT_TRUE(std::filesystem::exists(aside)) << aside;
        EXPECT_EQ(contents(aside), damaged);
        EXPECT_NE(client().signIn(), "");
    }
}

TEST_F(StateFiles, fileThatCannotBeReadStopsTheStart) {
    std::filesystem::create_directory(file_);
    EXPECT_THROW(start(file_), std::runtime_error);
}

TEST_F(StateFiles, changeThatCannotBeStoredIsNotReportedAsDone) {
    const std::string folder = folder_.file("profile");
    std::filesystem::create_directory(folder);
    start(folder + "/state.json");
    const std::string cookie = client().signIn();
    std::filesystem::remove_all(folder);
    testing::internal::CaptureStderr();
    const Response response = client().post("/api/tasks", {{"title", "x"}}, cookie);
    EXPECT_EQ(response.status, 500u);
    EXPECT_NE(response.error(), "");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("/api/tasks"));
}

} // namespace
