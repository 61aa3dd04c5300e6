#include "Browser.h"

#include <signal.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A view that shows a page of its own for what could not be loaded, as the shell's does.
class WebKitBadDays : public WebKitTest {
protected:
    WebKitBadDays() {
        for (const auto* name : {"home", "a"})
            server.pages[std::string("/") + name] = {std::string("<!doctype html><title>") + name +
                                                     "</title>"};
        browser.view->onFailed = [this](const LoadFailure& failure) {
            (failure.cancelled ? givenUp : failed).push_back(failure.url);
            if (!failure.cancelled)
                browser.view->loadAlternate("<!doctype html><title>offline</title><a id=again href='" +
                                                server.url("/home").text() + "'></a>",
                                            failure.url, *Url::parse(failure.url));
        };
    }
    std::string title() { return browser.ask("return document.title").get<std::string>(); }
    /// The title of the page that a script leads to.
    std::string after(const std::string& script) {
        browser.follow([&] { browser.view->evaluate(script); });
        return title();
    }
    /// Begins to load what never comes.
    void wait() {
        server.silentPath = "/silent";
        server.requests.clear();
        browser.view->load(server.url("/silent"), patience);
        MainLoop::runUntil([&] { return server.wasAsked("/silent"); });
    }

    std::vector<std::string> failed;
    std::vector<std::string> givenUp;
};

} // namespace

TEST_F(WebKitBadDays, triesTheAddressThatFailedAgainWhateverWayItIsAskedTo) {
    const auto unreachable = PageServer(certificate()).url("/a");
    browser.load(server.url("/home"));
    browser.load(unreachable);
    EXPECT_EQ(title(), "offline");
    browser.follow([&] { browser.view->reload(); });
    EXPECT_EQ(title(), "offline");
    EXPECT_THAT(failed, ElementsAre(unreachable.text(), unreachable.text()));

    EXPECT_EQ(after("location.href = '" + server.url("/a").text() + "'"), "a");
    EXPECT_EQ(after("history.back()"), "offline");
    EXPECT_EQ(failed.size(), 3U);
    EXPECT_EQ(after("history.back()"), "home") << "the failure is more than one entry of the history";
    browser.load(unreachable);
    EXPECT_EQ(after("document.getElementById('again').click()"), "home");
}

TEST_F(WebKitBadDays, takesEveryFailureForOneAndNoOtherEndOfALoad) {
    server.pages["/around"] = {"", "text/html", 302, {{"Location", "/around"}}};
    server.pages["/cut"] = {.body = std::string(100'000, ' '), .breaksOff = true};
    server.pages["/error"] = {"<title>error</title>", "text/html", 500};
    server.pages["/nothing"] = {"", "text/html", 204};
    const auto silent = server.url(server.silentPath = "/silent");
    std::vector<std::string> expected;
    for (const auto& url :
         {*Url::parse("https://no-such-host.invalid/"), server.url("/around"), server.url("/cut"), silent}) {
        browser.load(url, url == silent ? std::chrono::seconds(1) : patience);
        EXPECT_EQ(title(), "offline");
        expected.push_back(url.text());
        EXPECT_EQ(failed, expected);
    }
    browser.load(server.url("/error"));
    EXPECT_EQ(title(), "error");
    givenUp.clear();
    browser.view->load(server.url("/nothing"), patience);
    MainLoop::runUntil([&] { return !givenUp.empty(); });
    EXPECT_EQ(title(), "error");
    wait();
    browser.load(server.url("/a"));
    EXPECT_EQ(title(), "a");
    EXPECT_THAT(givenUp, ElementsAre(server.url("/nothing").text(), silent.text()));
    EXPECT_EQ(failed, expected);
}

TEST_F(WebKitBadDays, tellsWhichPageWasShownWhenItsProcessDies) {
    std::vector<std::string> deaths;
    browser.view->onProcessEnded = [&](const std::string& url) { deaths.push_back(url); };
    // The oldest process is the one that shows the page. The engine does not survive the death of one that it
    // is just starting.
    const auto killPage = [&] {
        auto processes = engineProcesses(pageProcess);
        std::erase_if(processes, [this](pid_t process) { return others.contains(process); });
        kill(*processes.begin(), SIGKILL);
        MainLoop::runUntil([&, before = deaths.size()] { return deaths.size() > before; });
    };
    browser.load(server.url("/home"));
    EXPECT_EQ(after("location.href = '/a'"), "a");
    browser.ask("history.pushState(null, '', '/home?x=1'); return 1");
    killPage();
    browser.load(*Url::parse(deaths.front()));
    EXPECT_EQ(title(), "home");
    wait();
    killPage();
    EXPECT_THAT(deaths, ElementsAre(server.url("/home?x=1").text(), server.url("/silent").text()));
}
