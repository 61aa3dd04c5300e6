#include "Browser.h"

#include <signal.h>

#include <fstream>

using testing::ElementsAre;

namespace {

class WebKitView : public WebKitTest {
protected:
    WebKitView() { server.pages["/"] = {"<!doctype html><title>hello</title>"}; }
};

} // namespace

TEST_F(WebKitView, showsAPageWithTheCookiesOfTheStoreAlsoOnceTheNetworkProcessHasDied) {
    const Cookie cookie = {.name = "brisko_session", .value = "one", .domain = "localhost", .expires = {}};
    MainLoop::finish(browser.store().setCookie(cookie));
    ASSERT_TRUE(browser.shows(server.url("/")));
    EXPECT_EQ(browser.ask("return [document.title, isSecureContext, document.cookie]"),
              parseJson(R"(["hello", true, "brisko_session=one"])"));
    EXPECT_THAT(browser.ask("return navigator.userAgent").get<std::string>(),
                testing::MatchesRegex("Mozilla/5.0 .* briskomac"));
    EXPECT_EQ(MainLoop::finish(browser.view->evaluateForResult("not a script")), std::nullopt);
    // Once the network process has died, the same server is trusted.
    const auto cut = begin(browser.view->evaluateForResult("await fetch('/silent').catch(() => 0)"));
    MainLoop::runUntil([&] { return server.wasAsked("/silent"); });
    const auto processes = engineProcesses(networkProcess);
    ASSERT_EQ(processes.size(), 1U);
    kill(*processes.begin(), SIGKILL);
    // The page knows first, then the engine.
    MainLoop::finish(cut);
    MainLoop::finish(browser.store().allCookies());
    // This request may tell that the new process trusts nobody yet; after an answer of that process it does.
    browser.ask("await fetch('/').catch(() => 0)");
    MainLoop::finish(browser.store().allCookies());
    EXPECT_EQ(browser.ask("return (await fetch('/')).status"), 200);
    EXPECT_TRUE(browser.shows(server.url("/")));
}

TEST_F(WebKitView, sendsNothingToAServerForWhoseNameTheTrustedFileDoesNotVouch) {
    const auto authority = newCertificate("DNS:authority");
    PageServer issued(newCertificate("DNS:localhost", authority));
    PageServer misnamed(newCertificate("DNS:other.example", authority));
    issued.pages = server.pages;
    EXPECT_FALSE(browser.shows(server.url("/", "127.0.0.1")))
        << "another host, though the certificate names it";
    EXPECT_FALSE(Browser(server.url(), std::nullopt).shows(server.url("/")));
    Browser of(issued.url(), authority);
    EXPECT_FALSE(of.shows(misnamed.url("/")));
    EXPECT_FALSE(of.shows(server.url("/")));
    EXPECT_TRUE(misnamed.requests.empty() && server.requests.empty());
    EXPECT_TRUE(of.shows(issued.url("/"))) << testing::PrintToString(of.failed);
    EXPECT_EQ(of.ask("return (await fetch('/')).status"), 200);
}

TEST_F(WebKitView, loadsOnlyWhatThePolicyAllowsAndNoFileAndReportsEachRequestForAWindowOnce) {
    server.pages["/"] = {"<a id=refused href=/refused></a><a id=allowed href=/allowed></a>"
                         "<a id=blank target=_blank href=/new></a>"};
    server.pages["/allowed"] = {"allowed"};
    Json asked;
    Json wanted;
    browser.view->decidePolicy = [&](const NavigationAction& action) {
        asked.push_back(action.url.substr(server.url().text().size()));
        EXPECT_NE(action.isUsersGesture, asked.back() == "/") << "as a script of ours is";
        return action.url.ends_with("/refused") ? NavigationPolicy::cancel : NavigationPolicy::allow;
    };
    browser.view->onNewWindow = [&](const NavigationAction& action) { wanted.push_back(action.url); };
    const auto click = [&](const std::string& link) {
        browser.view->evaluate("document.getElementById('" + link + "').click()");
    };
    browser.shows(server.url("/"));
    click("blank");
    MainLoop::runUntil([&] { return !wanted.empty(); });
    EXPECT_EQ(browser.ask("return [open('/opened'), open()]"), parseJson("[null, null]"));
    EXPECT_EQ(wanted, Json({server.url("/new").text(), server.url("/opened").text(), ""}));
    click("refused");
    MainLoop::runUntil([&] { return asked.size() == 2; });
    EXPECT_EQ(browser.ask("return location.pathname"), "/");
    browser.follow([&] { click("allowed"); });
    EXPECT_EQ(browser.ask("return location.pathname"), "/allowed");
    // As a file does that is dropped on the page.
    const auto file = newFolder() / "dropped.html";
    std::ofstream(file) << "<title>dropped</title>";
    browser.view->load(*Url::parse("file://" + file.string()), patience);
    browser.shows(server.url("/"));
    EXPECT_EQ(browser.ask("return document.title"), "");
    EXPECT_EQ(asked, Json({"/", "/refused", "/allowed", "/"}));
    EXPECT_THAT(server.requests, ElementsAre("/", "/allowed", "/"));
}

TEST_F(WebKitView, removesEverythingWithoutEndingThePageAlsoFromWithinADecision) {
    server.pages["/worker.js"] = {"onfetch = () => {}", "text/javascript"};
    server.pages["/expired"] = {"", "text/html", 302, {{"Location", "/login"}}};
    browser.shows(server.url("/"));
    for (const std::string way : {"", "/login", "/expired"}) {
        browser.ask(
            "await navigator.serviceWorker.register('/worker.js'); await navigator.serviceWorker.ready;"
            "localStorage.a = 1; document.cookie = 'a=1'; onbeforeunload = (e) => e.preventDefault();"
            "await (await caches.open('c')).put('/x', new Response('x'))");
        const auto kept = "return [localStorage.length, document.cookie, (await caches.keys()).length,"
                          "(await navigator.serviceWorker.getRegistrations()).length]";
        EXPECT_EQ(browser.ask(kept), parseJson(R"([1, "a=1", 1, 1])"));
        browser.terminated = 0;
        std::shared_ptr<Outcome<Done>> removing;
        browser.view->decidePolicy = [&](const NavigationAction& action) {
            if (action.url.ends_with("/expired"))
                return NavigationPolicy::allow;
            removing = begin(browser.store().removeAllData());
            return NavigationPolicy::cancel;
        };
        if (way.empty())
            removing = begin(browser.store().removeAllData());
        else
            browser.view->evaluate("location.href = '" + way + "'");
        MainLoop::runUntil([&] { return removing && removing->ended(); });
        EXPECT_EQ(browser.terminated, 0) << "the page had to be killed: " << way;
        EXPECT_EQ(browser.ask("return location.href"), "about:blank") << way;
        EXPECT_FALSE(server.wasAsked("/login"));
        browser.view->decidePolicy = nullptr;
        browser.shows(server.url("/"));
        EXPECT_EQ(browser.ask(kept), parseJson(R"([0, "", 0, 0])")) << way;
    }
    browser.view->evaluate("localStorage.a = 1; for (;;) ;"); // it is not waited for
    MainLoop::finish(browser.store().removeAllData());
    browser.shows(server.url("/"));
    EXPECT_EQ(browser.ask("return localStorage.length"), 0);
}

TEST_F(WebKitView, takesItsProcessAlongAndMayEndAtAnyMoment) {
    // A page that is still being asked answers nothing, and one that is being left is gone.
    browser.shows(server.url("/"));
    EXPECT_FALSE(ownPages().empty());
    const auto asking = begin(browser.view->evaluateForResult("await new Promise(() => {})"));
    const auto removing = begin(browser.store().removeAllData());
    const auto end = [&] { browser.view.reset(); };
    end();
    EXPECT_EQ(MainLoop::finish(asking), std::nullopt);
    MainLoop::finish(removing);
    // No event tells of the end of a process that another one has started.
    const auto ticks = g_timeout_add(10, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    MainLoop::runUntil([&] { return ownPages().empty(); });
    g_source_remove(ticks);

    browser.makeView();
    loadInVain();
    end();
    for (const auto early : {true, false}) {
        browser.makeView();
        browser.view->onFinished = end;
        if (early)
            browser.view->decidePolicy = [&](const NavigationAction&) {
                end();
                return NavigationPolicy::cancel;
            };
        browser.view->load(server.url("/"), patience);
        MainLoop::runUntil([&] { return !browser.view; });
    }
    browser.makeView();
    EXPECT_TRUE(browser.shows(server.url("/")));
}
