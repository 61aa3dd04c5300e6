#include "web/WebShell.h"

#include "fakes/FakeProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const std::string origin = "https://brisko.example";
const std::string page = origin + "/tasks/7";

class WebShellTest : public testing::Test {
protected:
    FakeProgram program;
    std::vector<std::string>& opened = program.account.workspace.opened;
    std::unique_ptr<FakeWebView> made = std::make_unique<FakeWebView>();
    FakeWebView& web = *made;
    std::unique_ptr<WebShell> shell = std::make_unique<WebShell>(program.shell(), std::move(made));

    NavigationPolicy follow(const std::string& url, bool performsDownload = false) {
        return web.decidePolicy({url, performsDownload});
    }
};

} // namespace

TEST_F(WebShellTest, goesToAPageAlsoWhileAnotherWaitsForItsAnswer) {
    for (const auto* path : {"tasks/7", "not a path"})
        shell->load(path);
    web.onArrived();
    web.waitingForAnswer = true;
    shell->go("/?new=1");
    EXPECT_THAT(web.loaded, ElementsAre(page, origin, origin + "/?new=1"));
    EXPECT_EQ(WebShell::literal("\"\\\n\u0001é") + WebShell::literal("\xFF"), R"("\"\\\n\u0001é""")");
}

TEST_F(WebShellTest, opensOtherPagesInTheBrowserAndHandsControlBackAtTheSignInPageAndOnceTheSessionIsOver) {
    EXPECT_EQ(follow("https://elsewhere.example/x.pdf", true), NavigationPolicy::download);
    EXPECT_EQ(follow("https://elsewhere.example/?a[]=1|2#b"), NavigationPolicy::cancel);
    int told = 0;
    shell->onSignedOut = [&told] { told += 1; };
    EXPECT_EQ(follow("https://brisko.example/en/login?next=/a[1]"), NavigationPolicy::cancel);
    EXPECT_EQ(told, 1);
    for (const auto* url : {"https://brisko.example/x", "", "relative"})
        web.onNewWindow({url, false, true});
    program.clock.time += std::chrono::seconds(5);
    bool unseen = true;
    shell->isOutOfSight = [&] { return unseen; };
    follow("https://elsewhere.example/unseen");
    unseen = false;
    for (const auto* path : {"by-itself", "at-once"})
        follow(std::string("https://elsewhere.example/") + path);
    EXPECT_THAT(opened, ElementsAre("https://elsewhere.example/?a%5B%5D=1%7C2#b", "https://brisko.example/x",
                                    "https://elsewhere.example/by-itself"));
    for (const auto& cookies : {std::vector{FakeAccount::session()}, {}}) {
        program.account.webData.cookies = cookies;
        program.account.webData.changed();
    }
    program.queue.advance(std::chrono::milliseconds(0));
    EXPECT_EQ(told, 2) << "the session's cookie has gone";
}

TEST_F(WebShellTest, keepsTheSessionThatItsPageHasRenewedAndNoneThatHasEnded) {
    auto& jar = program.account.jar;
    auto& webData = program.account.webData;
    auto renewed = FakeAccount::session();
    renewed.value = "s2";
    jar.cookies = {FakeAccount::session()};
    webData.cookies = {renewed, FakeAccount::session("elsewhere.example")};
    webData.changed();
    EXPECT_THAT(jar.cookies, ElementsAre(renewed));
    webData.hold = true;
    webData.changed();
    shell.reset();
    jar.cookies = {FakeAccount::session()};
    webData.open();
    EXPECT_THAT(jar.cookies, ElementsAre(FakeAccount::session())) << "of the next sign-in";
}

TEST_F(WebShellTest, leavesAPersonsOtherLinksToTheDesktopAndHandsNoneThatAPageMakesToAnybody) {
    int own = 0;
    shell->onOwnLink = [&own](const std::string& url) { own += url == "brisko://new" ? 1 : 0; };
    for (const auto byPerson : {false, true})
        for (const auto* url :
             {"tel:7", "brisko://new", "other://brisko.example/x", "mailto:ann@x.example"}) {
            EXPECT_EQ(web.decidePolicy({url, false, byPerson}), NavigationPolicy::cancel) << url;
            web.onNewWindow({url, false, byPerson});
        }
    for (const auto* url : {"FILE:///etc/passwd", "data:text/html,x", "blob:https://x.example/1",
                            "javascript:alert()", "about:blank"}) {
        EXPECT_EQ(web.decidePolicy({url, false, true}), NavigationPolicy::allow) << url;
        web.onNewWindow({url, false, true});
    }
    EXPECT_EQ(own, 2);
    EXPECT_THAT(opened, ElementsAre("tel:7", "tel:7", "other://brisko.example/x", "other://brisko.example/x",
                                    "mailto:ann@x.example", "mailto:ann@x.example"));
    program.account.workspace.fail(Error("x"));
    EXPECT_EQ(program.panels.open().at(0)->message, "No program on this machine opens mailto: links.");
    shell.reset();
    program.account.workspace.fail(Error("it is late"));
    EXPECT_TRUE(program.panels.open().empty());
}

TEST_F(WebShellTest, showsTheOfflinePageForARealFailureOnlyAndLoadsAPageWhoseProcessDiedAgainButNotForEver) {
    web.onFailed({page, Error("stopped"), true});
    EXPECT_EQ(web.alternate, "");
    const std::string other = "https://other.brisko.example/tasks";
    for (const auto& [failed, base] : {std::pair(page, page), std::pair(other, origin)}) {
        web.onFailed({failed, Error("Could not connect")});
        EXPECT_EQ(web.alternateFor + " " + web.alternateBase, failed + " " + base)
            << "where its links belong";
    }
    EXPECT_THAT(web.alternate,
                AllOf(HasSubstr("brisko.example cannot be reached.<br>It needs a connection to load."),
                      HasSubstr(R"(<a href="https://brisko.example/">Try again</a>)")));
    for (const auto later : {0, 20, 20, 19, 1, -3600}) {
        program.clock.time += std::chrono::seconds(later);
        web.alternateFor.clear();
        web.onProcessEnded(later == 1 ? "" : page);
        EXPECT_EQ(web.alternateFor, later == 19 ? page : "") << "a fourth time within a minute";
    }
    EXPECT_THAT(web.loaded, ElementsAre(page, page, page, origin, page))
        << "a clock set back forbids nothing";
    for (int deaths = 0; deaths < 6; ++deaths) {
        web.alternateFor.clear();
        web.onProcessEnded(page);
    }
    EXPECT_EQ(web.alternateFor, "") << "the offline page's process dies as well";
    EXPECT_THAT(program.panels.open().at(0)->message, HasSubstr("Reload in the menu View"));
}

TEST_F(WebShellTest, showsThePagesQuestionsUnderItsOwnNameAndSavesWhatCannotBeShown) {
    std::string answers;
    const auto panel = web.onConfirm("Sure?", [&](bool ok) { answers += ok ? "yes" : "no"; });
    EXPECT_EQ(program.panels.open().at(0)->title + " " + program.panels.open().at(0)->message,
              "brisko Sure?");
    program.panels.answer(false);
    EXPECT_EQ(answers, "no");
    EXPECT_EQ(web.decideResponse(true), NavigationPolicy::allow);
    EXPECT_EQ(web.decideResponse(false), NavigationPolicy::download);
    const auto download = std::make_shared<FakeDownload>(program.folder);
    web.onDownload(download);
    download->begin("report.pdf");
    shell.reset();
    download->finish();
    EXPECT_THAT(program.folder.names(), ElementsAre("report.pdf")) << "it ends with the page that began it";
}
