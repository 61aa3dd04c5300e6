#include "Browser.h"
#include "CertificateAuthority.h"
#include "EngineFolder.h"
#include "EngineProcess.h"
#include "PageServer.h"
#include "Ticker.h"
#include "demo/Certificate.h"
#include "linux/MainLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <gtk/gtk.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

namespace fs = std::filesystem;

const std::string hello = "<!doctype html><title>hello</title><p>hello";

class WebKitView : public testing::Test {
protected:
    WebKitView() : certificate(Demo::Certificate::make()), server(certificate.tls.get()) {
        server.pages["/"] = PageServer::Page(hello);
    }

    Demo::Certificate certificate;
    PageServer server;
};

} // namespace

TEST_F(WebKitView, showsAPageWhoseCertificateIsTheTrustedOneWithTheApplicationNameOnceInTheUserAgent) {
    Browser browser(server.origin(), certificate.pem);
    EXPECT_TRUE(browser.shows(server.url("/")));
    EXPECT_EQ(browser.ask("return document.title"), "hello");
    EXPECT_EQ(browser.ask("return window.isSecureContext"), true);
    EXPECT_THAT(browser.failures, IsEmpty());
    ASSERT_THAT(server.requests, Not(IsEmpty()));
    const auto& userAgent = server.requests.front().userAgent;
    EXPECT_TRUE(userAgent.starts_with("Mozilla/5.0 ")) << userAgent;
    EXPECT_TRUE(userAgent.ends_with(" briskomac")) << userAgent;
    EXPECT_EQ(userAgent.find("briskomac"), userAgent.rfind("briskomac"));
    EXPECT_EQ(browser.ask("return navigator.userAgent"), userAgent);
}

TEST_F(WebKitView, sendsNothingToAServerItDoesNotTrust) {
    {
        Browser browser(server.origin(), "");
        EXPECT_FALSE(browser.shows(server.url("/")));
    }
    // The trusted file counts for the origin's host alone, though the certificate names this address as well.
    Browser browser(server.origin(), certificate.pem);
    EXPECT_FALSE(browser.shows(server.url("/", "127.0.0.1")));
    EXPECT_THAT(server.requests, IsEmpty());
}

TEST_F(WebKitView, showsAPageWhoseCertificateTheTrustedAuthorityHasIssuedForThatHostOnly) {
    const CertificateAuthority authority;
    PageServer issued(authority.issue("localhost").get());
    PageServer misnamed(authority.issue("other.example").get());
    issued.pages["/"] = misnamed.pages["/"] = PageServer::Page(hello);

    Browser browser(issued.origin(), authority.pem());
    EXPECT_TRUE(browser.shows(issued.url("/")));
    EXPECT_EQ(browser.ask("return (await fetch('/')).status"), 200);
    EXPECT_FALSE(browser.shows(misnamed.url("/")));
    EXPECT_FALSE(browser.shows(server.url("/")));
    EXPECT_THAT(misnamed.requests, IsEmpty());
    EXPECT_THAT(server.requests, IsEmpty());
}

TEST_F(WebKitView, sendsTheCookiesOfTheStoreAndKeepsThoseOfThePage) {
    Browser browser(server.origin(), certificate.pem);
    Cookie cookie;
    cookie.name = "brisko_session";
    cookie.value = "one";
    cookie.domain = "localhost";
    cookie.httpOnly = true;
    MainLoop::finish(browser.store().setCookie(cookie));
    ASSERT_TRUE(browser.shows(server.url("/")));
    EXPECT_EQ(server.requests.front().cookies, "brisko_session=one");
    EXPECT_EQ(browser.ask("document.cookie = 'own=two'; return document.cookie"), "own=two");
    EXPECT_EQ(MainLoop::finish(browser.store().allCookies()).size(), 2);
}

TEST_F(WebKitView, loadsOnlyWhatThePolicyAllows) {
    server.pages["/"] = PageServer::Page("<a id=refused href=/refused></a><a id=allowed href=/allowed></a>");
    server.pages["/allowed"] = server.pages["/refused"] = PageServer::Page(hello);
    Browser browser(server.origin(), certificate.pem);
    std::vector<std::string> asked;
    browser.view->decidePolicy = [&](const NavigationAction& action) {
        asked.push_back(action.url);
        return action.url.ends_with("/refused") ? NavigationPolicy::cancel : NavigationPolicy::allow;
    };
    ASSERT_TRUE(browser.shows(server.url("/")));
    browser.view->evaluate("document.getElementById('refused').click()");
    MainLoop::runUntil([&] { return asked.size() == 2; });
    EXPECT_EQ(browser.ask("return location.pathname"), "/");
    browser.view->evaluate("document.getElementById('allowed').click()");
    MainLoop::runUntil([&] { return browser.finished == 2; });
    EXPECT_EQ(browser.ask("return location.pathname"), "/allowed");
    EXPECT_THAT(asked, ElementsAre(server.url("/").text(), server.url("/refused").text(),
                                   server.url("/allowed").text()));
    EXPECT_FALSE(server.wasAsked("/refused"));

    // As a file does that is dropped on the page.
    const auto file = newEngineFolder() / "dropped.html";
    std::ofstream(file) << "<title>dropped</title>";
    browser.view->load(*Url::parse("file://" + file.string()), Browser::patience);
    EXPECT_TRUE(browser.shows(server.url("/")));
    EXPECT_THAT(asked, testing::Each(testing::StartsWith("https:")));
}

TEST_F(WebKitView, reportsEachRequestForAWindowOnceAndOpensNone) {
    server.pages["/"] = PageServer::Page("<a id=link target=_blank href=/new></a>");
    Browser browser(server.origin(), certificate.pem);
    std::vector<std::string> wanted;
    browser.view->onNewWindow = [&](const std::string& url) { wanted.push_back(url); };
    ASSERT_TRUE(browser.shows(server.url("/")));
    browser.view->evaluate("document.getElementById('link').click()");
    MainLoop::runUntil([&] { return !wanted.empty(); });
    EXPECT_EQ(browser.ask("return window.open('/opened') === null"), true);
    EXPECT_EQ(browser.ask("return window.open() === null"), true);
    EXPECT_THAT(wanted, ElementsAre(server.url("/new").text(), server.url("/opened").text(), ""));
    EXPECT_FALSE(server.wasAsked("/new") || server.wasAsked("/opened"));
}

TEST_F(WebKitView, staysWhereItIsWhenAnAnswerIsNoPage) {
    server.pages["/archive.zip"] = PageServer::Page("PK", "application/zip");
    server.pages["/nothing"] = PageServer::Page("", "text/html", 204);
    Browser browser(server.origin(), certificate.pem);
    ASSERT_TRUE(browser.shows(server.url("/")));
    auto saved = newEngineFolder() / "archive.zip";
    bool finished = false;
    browser.view->onDownload = [&](const std::shared_ptr<Download>& download) {
        download->decideDestination = [&](const std::string&) { return saved; };
        download->onFinished = [&] { finished = true; };
    };
    browser.view->load(server.url("/archive.zip"), Browser::patience);
    MainLoop::runUntil([&] { return finished; });
    EXPECT_EQ(fs::file_size(saved), 2);
    browser.view->load(server.url("/nothing"), Browser::patience);
    MainLoop::runUntil([&] { return server.wasAsked("/nothing"); });
    // A request of the page may be broken off by the load that comes to nothing.
    EXPECT_EQ(browser.ask("for (;;) try { await fetch('/'); return location.pathname } catch {}"), "/");
    EXPECT_THAT(browser.failures, IsEmpty());
    EXPECT_EQ(browser.finished, 1);
}

TEST_F(WebKitView, reportsAnUnreachableServerOnceAndASupersededLoadNotAtAll) {
    server.silentPath = "/silent";
    Browser browser(server.origin(), certificate.pem);
    browser.view->load(server.url("/silent"), Browser::patience);
    MainLoop::runUntil([&] { return server.wasAsked("/silent"); });
    EXPECT_TRUE(browser.shows(server.url("/")));
    EXPECT_THAT(browser.failures, IsEmpty());

    std::optional<PageServer> gone(std::in_place, certificate.tls.get());
    const auto unreachable = gone->url("/");
    gone.reset();
    EXPECT_FALSE(browser.shows(unreachable));
    EXPECT_TRUE(browser.shows(server.url("/")));
    EXPECT_EQ(browser.failures.size(), 1);
    EXPECT_EQ(browser.finished, 2);
}

TEST_F(WebKitView, answersAScriptWithItsValueOrWithNothing) {
    Browser browser(server.origin(), certificate.pem);
    ASSERT_TRUE(browser.shows(server.url("/")));
    EXPECT_EQ(browser.ask("return {a: [1, 'é']}"), parseJson(R"({"a": [1, "é"]})"));
    for (const auto* body : {"", "throw new Error('x')", "return undefined", "not a script"})
        EXPECT_EQ(MainLoop::finish(browser.view->evaluateForResult(body)), std::nullopt) << body;
}

TEST_F(WebKitView, removesEverythingAPageWithAServiceWorkerHasKept) {
    server.pages["/worker.js"] = PageServer::Page("onfetch = () => {}", "text/javascript");
    Browser browser(server.origin(), certificate.pem);
    ASSERT_TRUE(browser.shows(server.url("/")));
    ASSERT_EQ(browser.ask(
                  "await navigator.serviceWorker.register('/worker.js'); await navigator.serviceWorker.ready;"
                  "localStorage.a = 1; document.cookie = 'a=1'; onbeforeunload = e => e.preventDefault();"
                  "await (await caches.open('c')).put('/x', new Response('x')); return 1"),
              1);
    browser.view->decidePolicy = [](const NavigationAction&) { return NavigationPolicy::cancel; };
    // Older ones may still be ending.
    const auto pageProcess = std::ranges::max(EngineProcess::named(EngineProcess::sandbox));
    const auto start = std::chrono::steady_clock::now();
    MainLoop::finish(browser.store().removeAllData());
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    RecordProperty("milliseconds", std::to_string(took.count()));
    EXPECT_THAT(EngineProcess::named(EngineProcess::sandbox), Contains(pageProcess))
        << "the page had to be killed";
    EXPECT_THAT(MainLoop::finish(browser.store().allCookies()), IsEmpty());

    browser.makeView();
    ASSERT_TRUE(browser.shows(server.url("/")));
    EXPECT_EQ(browser.ask("return [localStorage.length, document.cookie, (await caches.keys()).length,"
                          "(await navigator.serviceWorker.getRegistrations()).length]"),
              parseJson(R"([0, "", 0, 0])"));
}

TEST_F(WebKitView, removesEverythingFromWithinTheDecisionThatTheSessionIsOver) {
    server.pages["/expired"] = PageServer::Page("", "text/html", 302, "/login");
    for (const auto* script : {"location.href = '/login'", "location.href = '/expired'"}) {
        Browser browser(server.origin(), certificate.pem);
        ASSERT_TRUE(browser.shows(server.url("/")));
        ASSERT_EQ(browser.ask("return localStorage.a = 1"), 1);
        // Older ones may still be ending.
        const auto pageProcess = std::ranges::max(EngineProcess::named(EngineProcess::sandbox));
        std::shared_ptr<Outcome<Done>> removing;
        browser.view->decidePolicy = [&](const NavigationAction& action) {
            if (!action.url.ends_with("/login"))
                return NavigationPolicy::allow;
            removing = begin(browser.store().removeAllData());
            return NavigationPolicy::cancel;
        };
        browser.view->evaluate(script);
        MainLoop::runUntil([&] { return removing && removing->ended(); });
        EXPECT_EQ(browser.ask("return location.href"), "about:blank") << script;
        EXPECT_THAT(EngineProcess::named(EngineProcess::sandbox), Contains(pageProcess))
            << "the page had to be killed";
        EXPECT_FALSE(server.wasAsked("/login"));
        browser.makeView();
        ASSERT_TRUE(browser.shows(server.url("/")));
        EXPECT_EQ(browser.ask("return localStorage.length"), 0) << script;
    }
}

TEST_F(WebKitView, doesNotWaitForAPageThatNeverAnswers) {
    Browser browser(server.origin(), certificate.pem);
    ASSERT_TRUE(browser.shows(server.url("/")));
    browser.view->evaluate("localStorage.a = 1; for (;;) ;");
    MainLoop::finish(browser.store().removeAllData());
    ASSERT_TRUE(browser.shows(server.url("/")));
    EXPECT_EQ(browser.ask("return localStorage.length"), 0);
}

TEST_F(WebKitView, trustsTheSameCertificateOnceTheNetworkProcessHasDied) {
    Browser browser(server.origin(), certificate.pem);
    ASSERT_TRUE(browser.shows(server.url("/")));
    const auto processes = EngineProcess::named(EngineProcess::network);
    ASSERT_EQ(processes.size(), 1);
    kill(*processes.begin(), SIGKILL);
    EXPECT_EQ(browser.ask("for (;;) try { return (await fetch('/')).status } catch {}"), 200);
    EXPECT_NE(EngineProcess::named(EngineProcess::network), processes);

    kill(*EngineProcess::named(EngineProcess::network).begin(), SIGKILL);
    // A load may still meet the process that is dying.
    EXPECT_TRUE(browser.shows(server.url("/")) || browser.shows(server.url("/")));
}

TEST_F(WebKitView, takesItsWebProcessAlong) {
    const Ticker ticker;
    Browser browser(server.origin(), certificate.pem);
    const auto others = EngineProcess::named(EngineProcess::sandbox);
    ASSERT_TRUE(browser.shows(server.url("/")));
    auto own = EngineProcess::named(EngineProcess::sandbox);
    std::erase_if(own, [&](pid_t process) { return others.contains(process); });
    ASSERT_THAT(own, Not(IsEmpty()));
    browser.view.reset();
    MainLoop::runUntil([&] {
        const auto present = EngineProcess::named(EngineProcess::sandbox);
        return std::none_of(own.begin(), own.end(), [&](pid_t process) { return present.contains(process); });
    });
}

TEST_F(WebKitView, mayEndAtAnyMoment) {
    server.silentPath = "/silent";
    Browser browser(server.origin(), certificate.pem);

    browser.view->load(server.url("/silent"), Browser::patience);
    MainLoop::runUntil([&] { return server.wasAsked("/silent"); });
    browser.view.reset();

    browser.makeView();
    browser.view->decidePolicy = [&](const NavigationAction&) {
        browser.view.reset();
        return NavigationPolicy::cancel;
    };
    browser.view->load(server.url("/"), Browser::patience);
    MainLoop::runUntil([&] { return !browser.view; });

    browser.makeView();
    browser.view->onFinished = [&] { browser.view.reset(); };
    browser.view->load(server.url("/"), Browser::patience);
    MainLoop::runUntil([&] { return !browser.view; });

    // A page that is still being asked answers nothing, and one that is being left is gone.
    browser.makeView();
    ASSERT_TRUE(browser.shows(server.url("/")));
    const auto asking = begin(browser.view->evaluateForResult("await new Promise(() => {})"));
    const auto removing = begin(browser.store().removeAllData());
    browser.view.reset();
    EXPECT_EQ(MainLoop::finish(asking), std::nullopt);
    MainLoop::finish(removing);

    browser.makeView();
    EXPECT_TRUE(browser.shows(server.url("/")));
}
