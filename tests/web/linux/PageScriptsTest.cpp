#include "Browser.h"
#include "PageServer.h"
#include "demo/Certificate.h"
#include "web/Scripts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;

namespace {

const std::string page = "<!doctype html><html><body><input id=field autofocus>";

/// The two scripts in the real engine, with what they post kept here.
class PageScripts : public testing::Test {
protected:
    PageScripts() : certificate(Demo::Certificate::make()), server(certificate.tls.get()) {
        server.pages["/"] = PageServer::Page(page);
    }

    Browser& open(const std::string& path = "/") {
        browser = std::make_unique<Browser>(server.origin(), certificate.pem);
        auto& view = *browser->view;
        view.addUserScript({std::string(Scripts::page()), UserScript::Time::documentStart});
        view.addUserScript({std::string(Scripts::chrome()), UserScript::Time::documentEnd});
        view.addReplyingMessageHandler("brisko", [this](Json body) { return answer(this, std::move(body)); });
        view.addMessageHandler("briskoChrome", [this](const Json& body) { posted.push_back(body); });
        EXPECT_TRUE(browser->shows(server.url(path)));
        return *browser;
    }
    std::vector<std::string> colours() const {
        std::vector<std::string> result;
        for (const auto& body : posted)
            if (body.contains("background"))
                result.push_back(body["background"]);
        return result;
    }
    void awaitColours(std::size_t count) {
        MainLoop::runUntil([&] { return colours().size() >= count; });
    }

    Demo::Certificate certificate;
    PageServer server;
    std::unique_ptr<Browser> browser;
    std::vector<Json> called;
    std::vector<Json> posted;

private:
    static Task<Json> answer(PageScripts* self, Json body) {
        self->called.push_back(body);
        if (!body.is_object())
            throw Error("malformed \"é\"");
        co_return Json{{"count", 7}, {"on", true}, {"text", "é"}};
    }
};

} // namespace

TEST_F(PageScripts, givesThePageEightCallsThatEachPostOneMessageAndSettle) {
    auto& used = open();
    for (const auto* name :
         {"notificationStatus", "requestNotifications", "biometryAvailable", "lockEnabled", "lockSummary"}) {
        EXPECT_EQ(used.ask(std::string("return await BriskoNative.") + name + "({ignored: 1})"),
                  parseJson(R"({"count": 7, "on": true, "text": "é"})"));
        EXPECT_EQ(called.back(), (Json{{"name", name}, {"options", Json::object()}}));
    }
    for (const auto* name : {"syncReminders", "setLockEnabled", "openLockSettings"}) {
        for (const auto& [given, sent] :
             {std::pair("{a: [1]}", R"({"a": [1]})"), std::pair("", "{}"), std::pair("0", "{}"),
              std::pair("{f() {}, n: NaN}", R"({"n": null})")}) {
            used.ask(std::string("return await BriskoNative.") + name + "(" + given + ")");
            EXPECT_EQ(called.back(), (Json{{"name", name}, {"options", parseJson(sent)}})) << given;
        }
    }
    EXPECT_EQ(called.size(), 17U);
    for (const auto* unspeakable : {"(() => { const a = {}; a.a = a; return a })()", "{big: 1n}"})
        EXPECT_EQ(used.ask(std::string("try { await BriskoNative.syncReminders(") + unspeakable +
                           ") } catch (error) { return [error instanceof Error, error.message] }"),
                  parseJson(R"([true, "malformed \"é\""])"));
    EXPECT_EQ(used.ask("return [Object.keys(BriskoNative).length, typeof window.Capacitor]"),
              parseJson(R"([8, "undefined"])"));
}

TEST_F(PageScripts, leavesWhatIsThereWhenItIsLoadedTwice) {
    auto& used = open();
    used.ask("window.first = [BriskoNative, __brisko]; return 1");
    used.ask("eval(" + Json(std::string(Scripts::page())).dump() + "); return 1");
    EXPECT_EQ(used.ask("return first[0] === BriskoNative && first[1] === __brisko"), true);
}

TEST_F(PageScripts, isInTheMainFrameOnlyAndBeforeThePagesOwnScripts) {
    server.pages["/framed"] =
        PageServer::Page("<script>window.early = typeof BriskoNative</script><iframe src=/></iframe>");
    auto& used = open("/framed");
    EXPECT_EQ(used.ask("return [early, typeof frames[0].BriskoNative, typeof frames[0].__brisko]"),
              parseJson(R"(["object", "undefined", "undefined"])"));
}

TEST_F(PageScripts, pressesTheKeysOfACombo) {
    auto& used = open();
    used.ask(
        "window.pressed = []; document.addEventListener('keydown', (e) => { e.preventDefault(); pressed.push("
        "[e.target.tagName, e.key, e.metaKey, e.altKey, e.shiftKey, e.ctrlKey, e.defaultPrevented]) });"
        "document.getElementById('field').focus(); return 1");
    struct Case {
        const char* combo;
        const char* key;
        bool meta, alt, shift;
    };
    const Case cases[] = {
        {"'mod+shift+enter'", "Enter", true, false, true},
        {"'mod+,'", ",", true, false, false},
        {"'alt+space'", " ", false, true, false},
        {"'up'", "ArrowUp", false, false, false},
        {"'down'", "ArrowDown", false, false, false},
        {"'left'", "ArrowLeft", false, false, false},
        {"'right'", "ArrowRight", false, false, false},
        {"'escape'", "Escape", false, false, false},
        {"'backspace'", "Backspace", false, false, false},
        {"'delete'", "Delete", false, false, false},
        {"'ctrl+k'", "k", false, false, false},
        {"'F5'", "F5", false, false, false},
        {"'constructor'", "constructor", false, false, false},
        {"''", "", false, false, false},
        {"7", "7", false, false, false},
    };
    for (const auto& [combo, key, meta, alt, shift] : cases) {
        const auto event = used.ask(std::string("__brisko.run(") + combo + "); return pressed.at(-1)");
        EXPECT_EQ(event, Json::array({"BODY", key, meta, alt, shift, false, true})) << combo;
    }
}

TEST_F(PageScripts, reportsEachColourOnceAsThePageChangesItsRoots) {
    server.pages["/"] = PageServer::Page("<body style='background: rgb(1, 2, 3)'>");
    auto& used = open();
    awaitColours(1);
    used.ask("document.body.setAttribute('data-a', 'b'); document.body.append('text'); return 1");
    used.ask("document.body.style.background = 'rgb(4, 5, 6)'; return 1");
    awaitColours(2);
    // A body without a colour of its own shows that of the root.
    used.ask("document.documentElement.style.background = 'rgb(7, 8, 9)'; return 1");
    used.ask("document.body.style.background = 'rgba(1, 1, 1, 0)'; return 1");
    awaitColours(3);
    used.ask("document.documentElement.style.background = 'rgba(7, 8, 9, 0.5)'; return 1");
    awaitColours(4);
    EXPECT_THAT(colours(), ElementsAre("rgb(1, 2, 3)", "rgb(4, 5, 6)", "rgb(7, 8, 9)", "rgba(7, 8, 9, 0.5)"));

    ASSERT_TRUE(used.shows(server.url("/")));
    awaitColours(5);
    EXPECT_EQ(colours().back(), "rgb(1, 2, 3)") << "a new document starts over";
}

TEST_F(PageScripts, looksAgainOnceTheFirstPaintIsOver) {
    // The rule comes from a style sheet, of which no attribute of the roots tells.
    server.pages["/"] =
        PageServer::Page("<style>body { background: rgb(1, 2, 3) }</style><script>"
                         "let count = 0; const report = () => count;"
                         "const later = window.setTimeout; window.delays = [];"
                         "window.setTimeout = (f, delay) => { delays.push(delay); later(f, delay) };"
                         "</script>");
    auto& used = open();
    awaitColours(1);
    EXPECT_EQ(used.ask("return delays"), parseJson("[400, 1600]"));
    used.ask("document.styleSheets[0].deleteRule(0);"
             "document.styleSheets[0].insertRule('body { background: rgb(9, 9, 9) }'); return 1");
    awaitColours(2);
    EXPECT_EQ(colours().back(), "rgb(9, 9, 9)");
}

TEST_F(PageScripts, postsNothingWhileNothingChanges) {
    server.pages["/"] = PageServer::Page("<body style='background: rgb(1, 2, 3)'><script>window.looks = [];"
                                         "window.setTimeout = (look) => looks.push(look)</script>");
    auto& used = open();
    awaitColours(1);
    const auto before = posted.size();
    EXPECT_EQ(used.ask("for (const look of looks) look();"
                       "for (let i = 0; i < 100; i += 1) {"
                       "  document.body.dataset.count = i; await new Promise(requestAnimationFrame) }"
                       "return looks.length"),
              2);
    EXPECT_EQ(posted.size(), before);
}

TEST_F(PageScripts, reportsTheAccountsBindingsWhenTheServiceHasSome) {
    struct Case {
        PageServer::Page settings;
        std::optional<Json> reported;
    };
    const Case cases[] = {
        {{R"({"shortcuts": {"newTask": "mod+j", "search": 5}})", "application/json"},
         Json{{"newTask", "mod+j"}, {"search", 5}}},
        {{R"({"shortcuts": null})", "application/json"}, std::nullopt},
        {{"null", "application/json"}, std::nullopt},
        {{R"({"shortcuts")", "application/json"}, std::nullopt},
        {{R"({"shortcuts": {"newTask": "mod+j"}})", "application/json", 401}, std::nullopt},
    };
    for (const auto& [settings, expected] : cases) {
        posted.clear();
        server.requests.clear();
        server.pages["/api/settings"] = settings;
        auto& used = open();
        MainLoop::runUntil([&] { return server.wasAsked("/api/settings"); });
        // What the script does with the answer happens before what the page does after a later request.
        used.ask("await (await fetch('/')).text(); await new Promise(requestAnimationFrame); return 1");
        std::optional<Json> reported;
        for (const auto& body : posted)
            if (body.contains("shortcuts"))
                reported = body["shortcuts"];
        EXPECT_EQ(reported, expected) << settings.body;
    }
}

TEST_F(PageScripts, survivesAMessageOfFiveMegabytesAndOneThatIsNoObject) {
    auto& used = open();
    posted.clear();
    used.ask("const post = (body) => webkit.messageHandlers.briskoChrome.postMessage(body);"
             "post('x'.repeat(5e6)); post(7); post(null); post([]); post({background: 'x'.repeat(5e6)}); "
             "return 1");
    MainLoop::runUntil([&] { return posted.size() >= 5; });
    EXPECT_EQ(posted[0].get<std::string>().size(), 5'000'000U);
    EXPECT_EQ(posted[1], 7);
}
