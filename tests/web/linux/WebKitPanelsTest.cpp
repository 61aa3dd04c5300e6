#include "Browser.h"
#include "PageServer.h"
#include "demo/Certificate.h"
#include "fakes/FakeDownloads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;

/// What a page asks of the person, answered by the test.
class WebKitPanels : public testing::Test {
protected:
    WebKitPanels() : certificate(Demo::Certificate::make()), server(certificate.tls.get()) {
        server.pages["/"] = PageServer::Page("<!doctype html><input type=file id=one accept='text/csv,.txt'>"
                                             "<input type=file id=many multiple>");
        browser = std::make_unique<Browser>(server.origin(), certificate.pem);
        ask();
        EXPECT_TRUE(browser->shows(server.url("/")));
    }

    void ask() {
        auto& view = *browser->view;
        view.onAlert = [this](const std::string& message, auto closed) {
            return panels.alert("", message, std::move(closed));
        };
        view.onConfirm = [this](const std::string& message, auto answered) {
            return panels.confirm("", message, std::move(answered));
        };
        view.onChooseFiles = [this](const Panels::FileChoice& choice, auto chosen) {
            return panels.chooseFiles(choice, std::move(chosen));
        };
    }
    void awaitPanel() {
        MainLoop::runUntil([this] { return !panels.open().empty(); });
    }
    bool isOpen() const { return !panels.open().empty(); }
    /// Starts a script that asks something; what it returns comes once that is answered.
    auto start(const std::string& body) { return begin(browser->view->evaluateForResult(body)); }

    Demo::Certificate certificate;
    PageServer server;
    FakePanels panels;
    std::unique_ptr<Browser> browser;
};

} // namespace

TEST_F(WebKitPanels, asksAndTellsThePageWhatWasAnswered) {
    const auto told = start("alert('Saved. <b>é</b>'); return 'on'");
    awaitPanel();
    EXPECT_EQ(panels.open().front()->message, "Saved. <b>é</b>");
    EXPECT_FALSE(told->ended()) << "the page goes on before the alert is closed";
    panels.answer();
    EXPECT_EQ(MainLoop::finish(told), Json("on"));
    for (const auto ok : {true, false}) {
        const auto answered = start("return confirm('Sure?')");
        awaitPanel();
        panels.answer(ok);
        EXPECT_EQ(MainLoop::finish(answered), Json(ok));
    }
    EXPECT_EQ(panels.shown, 3);
}

TEST_F(WebKitPanels, handsThePageTheChosenFiles) {
    const auto folder = newEngineFolder();
    std::ofstream(folder / "a.txt") << "first";
    std::ofstream(folder / "é b.txt") << "second";
    const auto choose = [this](const std::string& field) {
        return start("const f = document.getElementById('" + field +
                     "'); const end = new Promise((r) => { f.onchange = () => r('chosen');"
                     "f.oncancel = () => r('cancelled') }); f.click(); const how = await end;"
                     "return [how, ...await Promise.all([...f.files].map((x) => x.text()))]");
    };
    auto chosen = choose("many");
    awaitPanel();
    EXPECT_TRUE(panels.open().front()->choice.multiple);
    panels.answer(true, {folder / "a.txt", folder / "é b.txt"});
    EXPECT_EQ(MainLoop::finish(chosen), parseJson(R"(["chosen", "first", "second"])"));
    chosen = choose("one");
    awaitPanel();
    EXPECT_FALSE(panels.open().front()->choice.multiple);
    EXPECT_THAT(panels.open().front()->choice.types, testing::Contains("text/csv"));
    panels.answer(false);
    EXPECT_EQ(MainLoop::finish(chosen), parseJson(R"(["cancelled"])"));
}

TEST_F(WebKitPanels, closesWhatIsOpenWhenThePageGoesAway) {
    const std::function<void()> departures[] = {
        [this] { browser->view->load(server.url("/"), Browser::patience); },
        [this] { browser->view->reload(); },
        [this] { spawn(browser->store().removeAllData()); },
    };
    for (const auto& leave : departures)
        for (const auto* script : {"alert('x'); return 1", "return confirm('x')",
                                   "document.getElementById('one').click(); await new Promise(() => {})"}) {
            ASSERT_TRUE(browser->shows(server.url("/")));
            const auto before = browser->finished;
            const auto asked = start(script);
            awaitPanel();
            leave();
            EXPECT_FALSE(isOpen()) << script;
            MainLoop::runUntil([&] { return browser->finished > before && asked->ended(); });
        }
    start("return confirm('x')");
    awaitPanel();
    browser->view.reset();
    EXPECT_FALSE(isOpen());
}

TEST_F(WebKitPanels, goesOnShowingThePanelsOfAPageThatStaysBecauseTheLoadWasRefused) {
    bool refused = false;
    browser->view->decidePolicy = [&](const NavigationAction& action) {
        refused = refused || action.url.ends_with("/refused");
        return refused ? NavigationPolicy::cancel : NavigationPolicy::allow;
    };
    browser->view->load(server.url("/refused"), Browser::patience);
    MainLoop::runUntil([&] { return refused; });
    browser->ask("return 1");
    const auto answered = start("return confirm('Sure?')");
    MainLoop::runUntil([&] { return isOpen() || answered->ended(); });
    ASSERT_TRUE(isOpen()) << "answered as if the page were still being left";
    panels.answer();
    EXPECT_EQ(MainLoop::finish(answered), Json(true));
}

TEST_F(WebKitPanels, leavesAPageThatNeverStopsAsking) {
    ASSERT_TRUE(browser->shows(server.url("/")));
    start("for (;;) alert('again')");
    awaitPanel();
    panels.answer();
    awaitPanel();
    EXPECT_TRUE(browser->view->isWaitingForAnswer());
    EXPECT_TRUE(browser->shows(server.url("/")));
    EXPECT_FALSE(isOpen() || browser->view->isWaitingForAnswer());
    EXPECT_EQ(browser->ask("return 1 + 1"), 2);
}

TEST_F(WebKitPanels, isNotHeldUpByAPageThatWouldRatherStay) {
    browser->ask("onbeforeunload = (e) => { e.preventDefault(); return 'stay' }; return 1");
    EXPECT_TRUE(browser->shows(server.url("/?left")));
    EXPECT_EQ(panels.shown, 0);
}

TEST_F(WebKitPanels, refusesWhatThePageMayNotHave) {
    EXPECT_EQ(browser->ask("return await Notification.requestPermission()"), "denied");
    EXPECT_EQ(browser->ask("return await new Promise((r) => navigator.geolocation.getCurrentPosition("
                           "() => r('granted'), (e) => r(e.code)))"),
              1); // PERMISSION_DENIED
}
