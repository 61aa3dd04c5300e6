#include "Browser.h"
#include "PageServer.h"
#include "demo/Certificate.h"
#include "fakes/FakeProgram.h"
#include "web/Bridge.h"
#include "web/Scripts.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

/// The calls of a page in the real engine, all the way to a fake platform.
class WebKitBridge : public testing::Test {
protected:
    WebKitBridge() {
        server.pages["/"].body = "<!doctype html><body>";
        auto& view = *browser->view;
        view.addUserScript({std::string(Scripts::page()), UserScript::Time::documentStart});
        view.addReplyingMessageHandler(Bridge::handlerName,
                                       [this](Json body) { return bridge.call(std::move(body)); });
        bridge.showLockSettings = [this](std::function<void()> done) {
            panelDone = std::move(done);
            return true;
        };
        EXPECT_TRUE(browser->shows(server.url("/")));
    }

    /// The value of an expression, or the text of the error that it ends with.
    Task<std::optional<Json>> evaluation(const std::string& expression) const {
        return browser->view->evaluateForResult(
            "try { return await " + expression +
            " } catch (error) { return [error instanceof Error, error.message] }");
    }
    Json value(const std::string& expression) const {
        return MainLoop::finish(evaluation(expression)).value_or(nullptr);
    }
    /// Starts a call whose answer stays open until the test gives it.
    auto begin(const std::string& expression, const std::function<bool()>& isOpen) const {
        auto outcome = ::begin(evaluation(expression));
        MainLoop::runUntil(isOpen);
        return outcome;
    }
    static Json end(const std::shared_ptr<Outcome<std::optional<Json>>>& outcome) {
        return MainLoop::finish(outcome).value();
    }

    Demo::Certificate certificate = Demo::Certificate::make();
    PageServer server{certificate.tls.get()};
    FakeProgram program;
    Bridge bridge{program.bridge()};
    std::function<void()> panelDone;
    std::unique_ptr<Browser> browser = std::make_unique<Browser>(server.origin(), certificate.pem);
};

} // namespace

TEST_F(WebKitBridge, settlesEachOfTheEightCallsWithItsValue) {
    const auto at = std::to_string(
        std::chrono::duration_cast<std::chrono::milliseconds>((program.clock.time + 1h).time_since_epoch())
            .count());
    for (const auto& [call, expected] :
         {std::pair("notificationStatus()", R"({"status": "prompt"})"),
          std::pair("biometryAvailable()", R"({"available": true, "kind": "passcode"})"),
          std::pair("lockEnabled()", R"({"enabled": false})"),
          std::pair("setLockEnabled({enabled: 'true'})", R"({"enabled": false})"),
          std::pair("lockSummary()",
                    R"({"hasPasscode": false, "digits": 0, "autoLock": false, "minutes": 5})"),
          std::pair("syncReminders({items: [7]})", R"({"scheduled": 0, "cleared": 0})")})
        EXPECT_EQ(value(std::string("BriskoNative.") + call), parseJson(expected)) << call;
    EXPECT_EQ(value("BriskoNative.syncReminders({items: [{id: 7, title: '\u202e<b>\\ud83d', at: " + at +
                    "}, {id: 7.5, title: 't', at: NaN}]})"),
              parseJson(R"({"scheduled": 1, "cleared": 0})"));
    EXPECT_EQ(program.center.pending.at(0).title, "\u202e<b>\ufffd");

    const auto asked =
        begin("BriskoNative.requestNotifications()", [&] { return program.question.asked == 1; });
    const auto proved =
        begin("BriskoNative.setLockEnabled({enabled: true})", [&] { return !program.owner.reasons.empty(); });
    const auto opened =
        begin("BriskoNative.openLockSettings({username: 'ann'})", [&] { return panelDone != nullptr; });
    EXPECT_EQ(value("BriskoNative.lockEnabled()"), parseJson(R"({"enabled": false})")) << "held up";
    panelDone();
    program.owner.answer(true);
    program.question.answer(NotificationQuestion::Answer::allow);
    EXPECT_EQ(end(opened), parseJson(R"({"ok": true})"));
    EXPECT_EQ(end(proved), parseJson(R"({"enabled": true})"));
    EXPECT_EQ(end(asked), parseJson(R"({"status": "granted"})"));
}

TEST_F(WebKitBridge, rejectsWithTheTextsThatPagesKnow) {
    const std::string post = "webkit.messageHandlers.brisko.postMessage(";
    for (const auto& [expression, error] :
         {std::pair(post + "'lockEnabled')", "brisko: malformed call"),
          std::pair(post + "undefined)", "brisko: malformed call"),
          std::pair(post + "{})", "brisko: malformed call"),
          std::pair(post + "{name: 7})", "brisko: malformed call"),
          std::pair(std::string("BriskoNative.syncReminders({items: [1n]})"), "brisko: malformed call"),
          std::pair(std::string("BriskoNative.setLockEnabled({get enabled() { throw 'no' }})"),
                    "brisko: malformed call"),
          std::pair(post + "{name: 'LockEnabled'})", "brisko: no such call LockEnabled"),
          std::pair(post + "{name: '\u00e9 \"'})", "brisko: no such call \u00e9 \"")})
        EXPECT_EQ(value(expression), Json::array({true, error})) << expression;
    bridge.showLockSettings = nullptr;
    EXPECT_EQ(value("BriskoNative.openLockSettings()"),
              Json::array({true, "brisko: no window to open it over"}));
}

TEST_F(WebKitBridge, goesOnWithACallWhoseAskerHasGone) {
    const auto ask = [&](std::size_t count) {
        browser->ask(
            "BriskoNative.setLockEnabled({enabled: true}); BriskoNative.openLockSettings(); return 1");
        MainLoop::runUntil([&] { return program.owner.reasons.size() == count && panelDone; });
    };
    const auto answerAll = [&] {
        program.owner.answer(true);
        std::exchange(panelDone, nullptr)();
        EXPECT_TRUE(std::exchange(program.account.defaults.values["brisko.lock.enabled"], false).get<bool>());
    };
    ask(1);
    ASSERT_TRUE(browser->shows(server.url("/")));
    answerAll();
    EXPECT_EQ(value("BriskoNative.lockEnabled()"), parseJson(R"({"enabled": false})"));
    ask(2);
    browser->makeView();
    answerAll();
    EXPECT_TRUE(browser->shows(server.url("/"))) << "the engine is as good as before";
}
