#include "web/WebShell.h"

#include "fakes/FakeAccount.h"

#include <gtest/gtest.h>

namespace {

class WebShellTest : public testing::Test {
protected:
    FakeAccount account;
    std::unique_ptr<FakeWebView> made = std::make_unique<FakeWebView>();
    FakeWebView& web = *made;
    WebShell shell{account.api, std::move(made), account.workspace};
    std::vector<std::string>& opened = account.workspace.opened;

    NavigationPolicy follow(const std::string& url, bool performsDownload = false) {
        return web.decidePolicy(NavigationAction{url, performsDownload});
    }
};

} // namespace

TEST_F(WebShellTest, isDarkAndEmptyUntilItLoadsAPageOfTheService) {
    EXPECT_EQ(web.underPage, Chrome::canvas);
    EXPECT_TRUE(web.loaded.empty());
    for (const auto& [path, url] : std::vector<std::pair<std::optional<std::string>, std::string>>{
             {std::nullopt, "https://brisko.example"},
             {"/", "https://brisko.example/"},
             {"/?search=1", "https://brisko.example/?search=1"},
             {"tasks/7", "https://brisko.example/tasks/7"},
             {"not a path", "https://brisko.example"}}) {
        shell.load(path);
        EXPECT_EQ(web.loaded.back(), url);
    }
}

TEST_F(WebShellTest, followsTheServiceAndSavesWhatAsksForIt) {
    EXPECT_EQ(follow("https://brisko.example/tasks"), NavigationPolicy::allow);
    EXPECT_EQ(follow("mailto:ann@elsewhere.example"), NavigationPolicy::allow);
    EXPECT_EQ(follow("https://elsewhere.example/x.pdf", true), NavigationPolicy::download);
    EXPECT_EQ(follow("https://brisko.example/login", true), NavigationPolicy::download);
    EXPECT_TRUE(opened.empty());
}

TEST_F(WebShellTest, opensOtherPagesInTheBrowserAndStaysWhereItWas) {
    EXPECT_EQ(follow("https://elsewhere.example/?a=1#b"), NavigationPolicy::cancel);
    EXPECT_EQ(follow("https://elsewhere.example/?a[]=1|2"), NavigationPolicy::cancel);
    EXPECT_EQ(opened, std::vector<std::string>(
                          {"https://elsewhere.example/?a=1#b", "https://elsewhere.example/?a%5B%5D=1%7C2"}));
    EXPECT_TRUE(web.loaded.empty());
}

TEST_F(WebShellTest, handsControlBackInsteadOfShowingTheSignInPage) {
    EXPECT_EQ(follow("https://brisko.example/login"), NavigationPolicy::cancel) << "without anybody to tell";
    int told = 0;
    shell.onSignedOut = [&told] { told += 1; };
    EXPECT_EQ(follow("https://brisko.example/en/login?next=/a[1]"), NavigationPolicy::cancel);
    EXPECT_EQ(told, 1);
    follow("https://brisko.example/");
    EXPECT_EQ(told, 1);
    EXPECT_TRUE(opened.empty());
}

TEST_F(WebShellTest, sendsEveryNewWindowToTheBrowser) {
    for (const auto* url : {"https://brisko.example/x", "https://elsewhere.example/?a[]=1", "", "relative"})
        web.onNewWindow(url);
    EXPECT_EQ(opened,
              std::vector<std::string>({"https://brisko.example/x", "https://elsewhere.example/?a%5B%5D=1"}));
}

TEST_F(WebShellTest, quotesATextForAScript) {
    for (const auto& [text, literal] :
         {std::pair("", R"("")"), std::pair("/?new=1", R"("/?new=1")"),
          std::pair("a\"b\\c\n", R"("a\"b\\c\n")"), std::pair("\x01\xC3\xA9", "\"\\u0001\xC3\xA9\""),
          std::pair("not \xFF text", R"("")")})
        EXPECT_EQ(WebShell::literal(text), literal);
}
