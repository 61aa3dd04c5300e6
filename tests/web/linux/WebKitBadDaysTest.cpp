#include "Browser.h"

#include <signal.h>

using testing::ElementsAre;

namespace {

/// A view that shows a page of its own for what could not be loaded, as the shell's does.
class WebKitBadDays : public WebKitTest {
protected:
    WebKitBadDays() {
        server.pages["/home"] = {"<!doctype html><title>home</title>"};
        server.pages["/a"] = {"<!doctype html><title>a</title>"};
        browser.view->onFailed = [this](const LoadFailure& failure) {
            (failure.cancelled ? givenUp : failed).push_back(failure.url);
            if (!failure.cancelled)
                browser.view->loadAlternate("<!doctype html><title>offline</title><a id=again href='" +
                                                server.url("/home").text() + "'></a>",
                                            failure.url, *Url::parse(failure.url));
        };
    }
    std::string title() { return browser.ask("return document.title").get<std::string>(); }
    /// The title of the page that it leads to.
    std::string after(const std::function<void()>& lead) {
        browser.follow(lead);
        return title();
    }
    std::string after(const std::string& script) {
        return after([&] { browser.view->evaluate(script); });
    }
    std::string after(const Url& url, std::chrono::seconds timeout = patience) {
        return after([&] { browser.view->load(url, timeout); });
    }

    std::vector<std::string> failed;
    std::vector<std::string> givenUp;
};

} // namespace

TEST_F(WebKitBadDays, takesEveryFailureForOneAndTriesItsAddressAgainWhateverWayItIsAskedTo) {
    server.pages["/around"] = {"", "text/html", 302, {{"Location", "/around"}}};
    server.pages["/nothing"] = {"", "text/html", 204};
    const auto silent = server.url("/silent");
    const auto unreachable = PageServer(certificate()).url("/a");
    EXPECT_EQ(after(server.url("/home")), "home");
    EXPECT_EQ(after(unreachable), "offline");
    EXPECT_EQ(after([&] { browser.view->reload(); }), "offline");
    EXPECT_EQ(after("location.href = '" + server.url("/a").text() + "'"), "a");
    EXPECT_EQ(after("history.back()"), "offline");
    EXPECT_EQ(after("history.back()"), "home") << "the failure is more than one entry of the history";
    EXPECT_EQ(after(server.url("/around")), "offline");
    EXPECT_EQ(after("document.getElementById('again').click()"), "home");
    // Where the page goes by itself has no limit, such as the one of a load that begins later.
    after(server.url("/home"), std::chrono::seconds(1));
    browser.view->evaluate("location.href = '/silent'");
    MainLoop::runUntil([&] { return server.wasAsked("/silent"); });
    Browser other(server.url(), certificate());
    other.follow([&] { other.view->load(silent, std::chrono::seconds(1)); });
    EXPECT_EQ(title(), "home");
    EXPECT_EQ(after(silent, std::chrono::seconds(1)), "offline");
    givenUp.clear();
    browser.view->load(server.url("/nothing"), patience);
    MainLoop::runUntil([&] { return !givenUp.empty(); });
    loadInVain();
    EXPECT_EQ(after(server.url("/a")), "a");
    EXPECT_THAT(givenUp, ElementsAre(server.url("/nothing").text(), silent.text()));
    EXPECT_THAT(failed, ElementsAre(unreachable.text(), unreachable.text(), unreachable.text(),
                                    server.url("/around").text(), silent.text()));
}

TEST_F(WebKitBadDays, tellsWhichPageWasShownWhenItsProcessDies) {
    std::vector<std::string> deaths;
    browser.view->onProcessEnded = [&](const std::string& url) { deaths.push_back(url); };
    // The oldest process is the one that shows the page. The engine does not survive the death of one that
    // it is just starting.
    const auto killPage = [&] {
        kill(*ownPages().begin(), SIGKILL);
        MainLoop::runUntil([&, before = deaths.size()] { return deaths.size() > before; });
    };
    after(server.url("/home"));
    after("location.href = '/a'");
    browser.view->evaluate("for (;;) ;");
    EXPECT_EQ(after([&] { browser.view->reload(); }), "a") << "of a page that hangs";
    browser.ask("history.pushState(null, '', '/home?x=1')");
    killPage();
    EXPECT_EQ(after(*Url::parse(deaths.front())), "home");
    loadInVain();
    killPage();
    EXPECT_THAT(deaths, ElementsAre(server.url("/home?x=1").text(), server.url("/silent").text()));
}
