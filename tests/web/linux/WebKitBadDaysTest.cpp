#include "Browser.h"
#include "EngineProcess.h"
#include "PageServer.h"
#include "demo/Certificate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <fstream>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A view that shows a page of its own for what could not be loaded, as the shell's does.
class WebKitBadDays : public testing::Test {
protected:
    WebKitBadDays() : certificate(Demo::Certificate::make()), server(certificate.tls.get()) {
        server.pages["/"] = PageServer::Page("<!doctype html><title>home</title>");
        server.pages["/a"] = PageServer::Page("<!doctype html><title>a</title>");
        // Those of other views may still be ending.
        others = EngineProcess::below(EngineProcess::page);
        browser = std::make_unique<Browser>(server.origin(), certificate.pem);
        browser->view->onFailed = [this](const LoadFailure& failure) {
            if (failure.cancelled)
                return;
            failed.push_back(failure.url);
            browser->view->loadAlternate("<!doctype html><title>offline</title><a id=again href='" +
                                             server.url("/").text() + "'></a>",
                                         failure.url, *Url::parse(failure.url));
        };
        browser->view->onProcessEnded = [this](const std::string& url) { deaths.push_back(url); };
    }

    std::string title() { return browser->ask("return document.title").get<std::string>(); }
    void load(const Url& url, std::chrono::seconds timeout = Browser::patience) {
        const auto before = browser->finished;
        browser->view->load(url, timeout);
        MainLoop::runUntil([&] { return browser->finished > before; });
    }
    /// Runs the script and waits for the page that it leads to.
    void go(const std::string& script) {
        const auto before = browser->finished;
        browser->view->evaluate(script);
        MainLoop::runUntil([&] { return browser->finished > before; });
    }
    void reload() {
        const auto before = browser->finished;
        browser->view->reload();
        MainLoop::runUntil([&] { return browser->finished > before; });
    }
    /// The oldest process is the one that shows the page. The engine does not survive the death of one that
    /// it is just starting.
    void killPageProcess() {
        auto processes = EngineProcess::below(EngineProcess::page);
        std::erase_if(processes, [this](pid_t process) { return others.contains(process); });
        ASSERT_FALSE(processes.empty());
        kill(*processes.begin(), SIGKILL);
    }

    Demo::Certificate certificate;
    PageServer server;
    std::set<pid_t> others;
    std::unique_ptr<Browser> browser;
    std::vector<std::string> failed;
    std::vector<std::string> deaths;
};

} // namespace

TEST_F(WebKitBadDays, triesTheAddressThatFailedAgainWhateverWayItIsAskedTo) {
    std::optional<PageServer> gone(std::in_place, certificate.tls.get());
    const auto unreachable = gone->url("/a");
    gone.reset();
    load(server.url("/"));
    load(unreachable);
    EXPECT_THAT(failed, ElementsAre(unreachable.text()));
    EXPECT_EQ(title(), "offline");
    reload();
    EXPECT_EQ(failed.size(), 2U);
    EXPECT_EQ(title(), "offline");

    go("location.href = '" + server.url("/a").text() + "'");
    EXPECT_EQ(title(), "a");
    go("history.back()");
    EXPECT_THAT(failed, ElementsAre(unreachable.text(), unreachable.text(), unreachable.text()));
    go("history.back()");
    EXPECT_EQ(title(), "home") << "the failure is more than one entry of the history";
    load(unreachable);
    go("document.getElementById('again').click()");
    EXPECT_EQ(title(), "home");
}

TEST_F(WebKitBadDays, takesEveryFailureForOneAndNoOtherEndOfALoad) {
    server.pages["/around"] = PageServer::Page("", "text/html", 302, "/around");
    server.pages["/cut"] = PageServer::Page(std::string(100'000, ' '), "text/html", 200, {}, {}, true);
    server.silentPath = "/silent";
    load(*Url::parse("https://no-such-host.invalid/"));
    load(server.url("/around"));
    load(server.url("/cut"));
    load(server.url("/silent"), std::chrono::seconds(1));
    EXPECT_THAT(failed, ElementsAre("https://no-such-host.invalid/", server.url("/around").text(),
                                    server.url("/cut").text(), server.url("/silent").text()));
    EXPECT_EQ(title(), "offline");

    failed.clear();
    server.pages["/error"] = PageServer::Page("<title>error</title>", "text/html", 500);
    load(server.url("/error"));
    EXPECT_EQ(title(), "error");
    browser->view->load(server.url("/silent"), Browser::patience);
    MainLoop::runUntil([&] { return server.requests.back().path == "/silent"; });
    load(server.url("/a"));
    EXPECT_EQ(title(), "a");
    EXPECT_THAT(failed, IsEmpty());
}

TEST_F(WebKitBadDays, tellsWhichPageWasShownWhenItsProcessDies) {
    load(server.url("/"));
    go("location.href = '/a'");
    browser->ask("history.pushState(null, '', '/a?x=1'); return 1");
    killPageProcess();
    MainLoop::runUntil([&] { return !deaths.empty(); });
    EXPECT_THAT(deaths, ElementsAre(server.url("/a?x=1").text()));
    server.pages["/a?x=1"] = server.pages["/a"];
    load(*Url::parse(deaths.front()));
    EXPECT_EQ(title(), "a");

    server.silentPath = "/silent";
    browser->view->load(server.url("/silent"), Browser::patience);
    MainLoop::runUntil([&] { return server.wasAsked("/silent"); });
    killPageProcess();
    MainLoop::runUntil([&] { return deaths.size() == 2; });
    EXPECT_EQ(deaths.back(), server.url("/silent").text());
}

TEST_F(WebKitBadDays, opensNoneOfAHundredWindows) {
    int wanted = 0;
    browser->view->onNewWindow = [&](const std::string&) { wanted += 1; };
    load(server.url("/"));
    EXPECT_EQ(
        browser->ask("let made = 0; for (let i = 0; i < 100; i++) made += open('/a') !== null; return made"),
        0);
    MainLoop::runUntil([&] { return wanted > 0; });
    EXPECT_EQ(server.requests.size(), 1U);
    EXPECT_EQ(browser->ask("return 1"), 1);
}

TEST_F(WebKitBadDays, hearsOfEveryWayInWhichACookieGoes) {
    server.pages["/in"] =
        PageServer::Page("in", "text/html", 200, {}, {{"Set-Cookie", "s=1; Path=/; Max-Age=1000"}});
    server.pages["/brief"] =
        PageServer::Page("in", "text/html", 200, {}, {{"Set-Cookie", "s=1; Path=/; Max-Age=2"}});
    server.pages["/out"] =
        PageServer::Page("out", "text/html", 200, {}, {{"Set-Cookie", "s=; Path=/; Max-Age=0"}});
    int changes = 0;
    const auto watching = browser->store().observeCookies([&] { changes += 1; });
    const auto present = [this] { return !MainLoop::finish(browser->store().allCookies()).empty(); };
    for (const auto* script :
         {"await fetch('/out'); return 1", "document.cookie = 's=; path=/; max-age=0'; return 1"}) {
        load(server.url("/in"));
        ASSERT_TRUE(present());
        changes = 0;
        browser->ask(script);
        MainLoop::runUntil([&] { return changes > 0; });
        EXPECT_FALSE(present()) << script;
    }
    load(server.url("/brief"));
    ASSERT_TRUE(present());
    MainLoop::runUntil([&] { return !present(); }); // an expired cookie is not listed, whoever removes it
}
