#include "web/WebShell.h"

#include "fakes/FakeProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class WebShellTest : public testing::Test {
protected:
    FakeProgram program;
    FakeAccount& account = program.account;
    FakePanels& panels = program.panels;
    FakeDownloadFolder& folder = program.folder;
    FakeClock& clock = program.clock;
    std::unique_ptr<FakeWebView> made = std::make_unique<FakeWebView>();
    FakeWebView& web = *made;
    std::unique_ptr<WebShell> shell = std::make_unique<WebShell>(program.shell(), std::move(made));
    std::vector<std::string>& opened = account.workspace.opened;

    NavigationPolicy follow(const std::string& url, bool performsDownload = false) {
        return web.decidePolicy({url, performsDownload});
    }
};

} // namespace

TEST_F(WebShellTest, isDarkAndEmptyUntilItLoadsAPageOfTheService) {
    EXPECT_EQ(web.underPage, Chrome::canvas);
    EXPECT_TRUE(web.loaded.empty());
    const std::pair<std::optional<std::string>, std::string> cases[] = {
        {std::nullopt, "https://brisko.example"},
        {"/?search=1", "https://brisko.example/?search=1"},
        {"tasks/7", "https://brisko.example/tasks/7"},
        {"not a path", "https://brisko.example"}};
    for (const auto& [path, url] : cases) {
        shell->load(path);
        EXPECT_EQ(web.loaded.back(), url);
    }
}

TEST_F(WebShellTest, opensOtherPagesInTheBrowserAndStaysWhereItWas) {
    EXPECT_EQ(follow("mailto:ann@elsewhere.example"), NavigationPolicy::allow);
    EXPECT_EQ(follow("https://elsewhere.example/x.pdf", true), NavigationPolicy::download);
    EXPECT_TRUE(opened.empty());
    EXPECT_EQ(follow("https://elsewhere.example/?a[]=1|2#b"), NavigationPolicy::cancel);
    for (const auto* url : {"https://brisko.example/x", "https://elsewhere.example/?a[]=1", "", "relative"})
        web.onNewWindow(url);
    EXPECT_THAT(opened, ElementsAre("https://elsewhere.example/?a%5B%5D=1%7C2#b", "https://brisko.example/x",
                                    "https://elsewhere.example/?a%5B%5D=1"));
    EXPECT_TRUE(web.loaded.empty());
}

TEST_F(WebShellTest, handsControlBackInsteadOfShowingTheSignInPageAndOnceTheSessionIsOver) {
    EXPECT_EQ(follow("https://brisko.example/login"), NavigationPolicy::cancel) << "without anybody to tell";
    int told = 0;
    shell->onSignedOut = [&told] { told += 1; };
    EXPECT_EQ(follow("https://brisko.example/en/login?next=/a[1]"), NavigationPolicy::cancel);
    EXPECT_EQ(told, 1);
    follow("https://brisko.example/");
    EXPECT_EQ(told, 1);
    EXPECT_TRUE(opened.empty());
    for (const auto& cookies : {std::vector{FakeAccount::session()}, {}}) {
        account.webData.cookies = cookies;
        account.webData.changed();
    }
    program.queue.advance(std::chrono::milliseconds(0));
    EXPECT_EQ(told, 2) << "the session's cookie has gone";
}

TEST_F(WebShellTest, showsTheOfflinePageForARealFailureOnly) {
    web.onFailed({"https://brisko.example/tasks", Error("stopped"), true});
    EXPECT_EQ(web.alternate, "");
    web.onFailed({"https://brisko.example/tasks", Error("Could not connect")});
    EXPECT_EQ(web.alternateFor, "https://brisko.example/tasks");
    EXPECT_THAT(web.alternate,
                HasSubstr("brisko.example cannot be reached.<br>It needs a connection to load."));
    EXPECT_THAT(web.alternate, HasSubstr(R"(<a href="https://brisko.example/">Try again</a>)"));
    EXPECT_EQ(web.alternateBase, web.alternateFor);
    web.onFailed({"https://other.brisko.example/tasks", Error("Could not connect")});
    EXPECT_EQ(web.alternateBase, "https://brisko.example");
    EXPECT_TRUE(web.loaded.empty());
}

TEST_F(WebShellTest, loadsAPageWhoseProcessDiedAgainButNotForEver) {
    const std::string page = "https://brisko.example/tasks/7";
    for (int death = 0; death < 3; ++death) {
        web.onProcessEnded(page);
        clock.time += std::chrono::seconds(20);
    }
    EXPECT_THAT(web.loaded, ElementsAre(page, page, page));
    clock.time -= std::chrono::seconds(1);
    web.onProcessEnded(page);
    EXPECT_EQ(web.loaded.size(), 3U);
    EXPECT_EQ(web.alternateFor, page);
    clock.time += std::chrono::seconds(1);
    web.onProcessEnded("");
    EXPECT_EQ(web.loaded.back(), "https://brisko.example") << "a minute after the first";
    clock.time -= std::chrono::hours(1);
    web.onProcessEnded(page);
    EXPECT_EQ(web.loaded.size(), 5U) << "a clock set back forbids it for an hour";
}

TEST_F(WebShellTest, sendsThePageWhereverItIsAskedToAlsoWhileThatWaitsForAnAnswer) {
    shell->go("/?new=1");
    EXPECT_THAT(web.evaluated, ElementsAre("window.location.href = \"/?new=1\""));
    EXPECT_TRUE(web.loaded.empty());
    web.waitingForAnswer = true;
    shell->go("/?new=1");
    EXPECT_THAT(web.loaded, ElementsAre("https://brisko.example/?new=1"));
    EXPECT_EQ(web.evaluated.size(), 1U);
}

TEST_F(WebShellTest, pressesTheAccountsOwnKeysOnceItKnowsThem) {
    const auto pressed = [&](MenuAction action) {
        shell->run(action);
        return web.evaluated.back();
    };
    const auto script = [](const std::string& literal) {
        return "window.__brisko && window.__brisko.run(" + literal + ")";
    };
    EXPECT_EQ(pressed(MenuAction::toggleView), script(R"("mod+shift+v")"));
    std::vector<Shortcuts> told;
    shell->onShortcuts = [&](const Shortcuts& shortcuts) { told.push_back(shortcuts); };
    const auto post = [&](const char* body) { web.handlers.at("briskoChrome")(parseJson(body)); };
    post(R"({"shortcuts": {"toggleView": "alt+t", "search": 5, "newTask": "\"\\\n\u0001é"}})");
    EXPECT_EQ(pressed(MenuAction::toggleView), script(R"("alt+t")"));
    EXPECT_EQ(pressed(MenuAction::search), script(R"("mod+f")"));
    EXPECT_EQ(pressed(MenuAction::newTask), script(R"("\"\\\n\u0001é")"));
    EXPECT_EQ(WebShell::literal("not \xFF text"), R"("")");
    for (const auto* body :
         {R"({"shortcuts": {}})", R"({"shortcuts": {"a": 1}})", R"({"shortcuts": "x"})", "{}", "[]"})
        post(body);
    EXPECT_EQ(told.size(), 1U);
    EXPECT_EQ(pressed(MenuAction::toggleView), script(R"("alt+t")"));
}

TEST_F(WebShellTest, showsThePagesQuestionsUnderItsOwnName) {
    bool closed = false;
    auto alert = web.onAlert("Saved.", [&] { closed = true; });
    EXPECT_EQ(panels.open().front()->title, "brisko");
    EXPECT_EQ(panels.open().front()->message, "Saved.");
    panels.answer();
    EXPECT_TRUE(closed);
    std::optional<bool> confirmed;
    auto confirm = web.onConfirm("Sure?", [&](bool ok) { confirmed = ok; });
    confirm.reset();
    EXPECT_TRUE(panels.open().empty()) << "a page that has gone leaves its question";
    confirm = web.onConfirm("Sure?", [&](bool ok) { confirmed = ok; });
    panels.answer(false);
    EXPECT_EQ(confirmed, false);
    Panels::FileChoice choice;
    choice.multiple = true;
    std::vector<std::filesystem::path> chosen;
    auto files = web.onChooseFiles(choice, [&](auto paths) { chosen = paths; });
    EXPECT_TRUE(panels.open().front()->choice.multiple);
    panels.answer(true, {"/a", "/b"});
    EXPECT_EQ(chosen.size(), 2U);
}

TEST_F(WebShellTest, savesWhatCannotBeShownOrAsksForIt) {
    EXPECT_EQ(web.decideResponse(true), NavigationPolicy::allow);
    EXPECT_EQ(web.decideResponse(false), NavigationPolicy::download);
    const auto download = std::make_shared<FakeDownload>(folder);
    web.onDownload(download);
    download->begin("report.pdf");
    shell.reset();
    download->finish();
    EXPECT_THAT(folder.names(), ElementsAre("report.pdf")) << "a download ends with the page that began it";
}
