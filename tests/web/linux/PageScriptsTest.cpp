#include "Browser.h"
#include "fakes/Gate.h"
#include "web/PageToken.h"
#include "web/Scripts.h"

using testing::ElementsAre;

namespace {

/// The two scripts of a page in the real engine. A call is answered with what it has posted.
class PageScripts : public WebKitTest, protected Gate {
protected:
    PageScripts() {
        server.pages["/"] = {"<!doctype html><body style='background: rgb(1, 2, 3)'>"};
        prepare();
    }

    /// A new view, with the scripts and their listeners.
    void prepare() {
        browser.makeView();
        auto& view = *browser.view;
        const auto origin = server.url().origin();
        view.addUserScript(
            {Scripts::page(origin, token.text()), UserScript::Time::documentStart, server.url()});
        view.addUserScript(
            {Scripts::chrome(origin, token.text()), UserScript::Time::documentEnd, server.url()});
        view.addReplyingMessageHandler(
            "brisko", [this](const Json& message) { return answer(this, token.bodyOf(message)); });
        view.addMessageHandler("briskoChrome",
                               [this](const Json& message) { posted.push_back(token.bodyOf(message)); });
    }
    static Task<Json> answer(PageScripts* self, Json body) {
        if (!body.is_object())
            throw Error("malformed \"é\"");
        co_await self->pass();
        co_return body;
    }
    /// Begins a call that is not answered yet.
    auto holdCall() {
        hold = true;
        auto call = begin(browser.view->evaluateForResult("return await BriskoNative.lockSummary(1)"));
        MainLoop::runUntil([this] { return waiting(); });
        hold = false;
        return call;
    }
    /// Runs the script and waits until that many messages have told of the page's colours.
    void paint(const std::string& script, std::size_t count) {
        browser.ask(script);
        MainLoop::runUntil([&] { return posted.size() >= count; });
    }

    PageToken token;
    std::vector<Json> posted; ///< of the page's colours and keys
};

} // namespace

TEST_F(PageScripts, giveThePageEightCallsThatEachPostOneMessageAndSettleOrOutliveTheirAsker) {
    browser.shows(server.url("/"));
    const auto held = holdCall();
    const auto nothing = parseJson("[{}, {}, {}]");
    const auto given = parseJson(R"([{}, {}, {"n": null, "t": "\u202e<b>\ufffd"}])");
    const auto calls = browser.ask(R"(const posted = {};
        for (const name of Object.keys(BriskoNative)) {
            posted[name] = [];
            for (const options of [undefined, 0, {f() {}, n: NaN, t: '\u202e<b>\ud83d'}]) {
                const message = await BriskoNative[name](options);
                posted[message.name].push(message.options);
            }
        }
        return posted)");
    Json expected;
    for (const auto* name :
         {"notificationStatus", "requestNotifications", "biometryAvailable", "lockEnabled", "lockSummary"})
        expected[name] = nothing;
    for (const auto* name : {"syncReminders", "setLockEnabled", "openLockSettings"})
        expected[name] = given;
    EXPECT_EQ(calls, expected);
    EXPECT_FALSE(held->ended());
    release();
    EXPECT_EQ(MainLoop::finish(held), parseJson(R"({"name": "lockSummary", "options": {}})"));
    EXPECT_EQ(browser.ask(R"(const errors = [];
        await BriskoNative.syncReminders({big: 1n}).catch((error) => errors.push(String(error)));
        await webkit.messageHandlers.brisko.postMessage(undefined).catch((error) => errors.push(String(error)));
        webkit.messageHandlers.briskoChrome.postMessage(undefined);
        const bare = { name: 'lockSummary', options: {} };
        for (const forged of [bare, { token: '', body: bare }, { token: null, body: bare }])
            await webkit.messageHandlers.brisko.postMessage(forged).catch((error) => errors.push(String(error)));
        return [...new Set(errors), errors.length, typeof window.Capacitor])"),
              parseJson(R"(["Error: malformed \"é\"", 5, "undefined"])"));
    holdCall(); // whose page goes, and then one whose view goes
    browser.shows(server.url("/"));
    release();
    holdCall();
    prepare();
    release();
    EXPECT_TRUE(browser.shows(server.url("/"))) << "the engine is as good as before";
}

TEST_F(PageScripts, areInTheMainFrameOnlyOnceBeforeThePagesOwnScriptsAndPressTheKeysOfACombo) {
    server.pages["/framed"] = {"<script>early = typeof BriskoNative</script><input id=field>"
                               "<iframe src=/></iframe>"};
    browser.shows(server.url("/framed"));
    browser.ask("first = [BriskoNative, __brisko]");
    browser.ask("eval(" + Json(Scripts::page(server.url().origin(), "")).dump() + ")");
    EXPECT_EQ(browser.ask("return [early, typeof frames[0].BriskoNative, typeof frames[0].__brisko,"
                          "first[0] === BriskoNative && first[1] === __brisko]"),
              parseJson(R"(["object", "undefined", "undefined", true])"));
    EXPECT_EQ(
        browser.ask(R"(const pressed = [];
        document.addEventListener('keydown', (e) => {
            e.preventDefault();
            const modifiers = ['metaKey', 'altKey', 'shiftKey', 'ctrlKey', 'defaultPrevented'];
            pressed.push([e.target.tagName, e.key, ...modifiers.filter((name) => e[name])].join(' '));
        });
        document.getElementById('field').focus();
        for (const combo of ['mod+shift+enter', 'alt+space', 'mod+,', 'up', 'down', 'left', 'right', 'escape',
                             'backspace', 'delete', 'ctrl+F5', 'constructor', '', 7]) __brisko.run(combo);
        return pressed.map((text) => text.replace(/^BODY (.*) defaultPrevented$/, '$1')))"),
        parseJson(R"(["Enter metaKey shiftKey", "  altKey", ", metaKey", "ArrowUp", "ArrowDown", "ArrowLeft",
                            "ArrowRight", "Escape", "Backspace", "Delete", "F5", "constructor", "", "7"])"));
}

TEST_F(PageScripts, areNotInPagesOfAnotherOriginOnTheSameHost) {
    PageServer other(certificate());
    other.pages = server.pages;
    for (const auto& url : {server.url("/"), other.url("/"), server.url("/")}) {
        posted.clear();
        browser.shows(url);
        const auto isOwn = url == server.url("/");
        EXPECT_EQ(browser.ask("return typeof BriskoNative + typeof __brisko"),
                  isOwn ? "objectobject" : "undefinedundefined");
        browser.ask("await new Promise((r) => setTimeout(r, 0)); await (await fetch('/')).text()");
        EXPECT_EQ(posted.empty(), !isOwn) << url.text();
    }
}

TEST_F(PageScripts, reportEachColourOnceAndAreSilentWhileNothingChanges) {
    server.pages["/"] = {"<style>body { background: rgb(1, 2, 3) }</style><body><script>looks = [];"
                         "setTimeout = (look, delay) => looks.push([look, delay])</script>"};
    browser.shows(server.url("/"));
    paint("document.body.dataset.a = 'b'; document.body.append('text')", 1);
    EXPECT_EQ(browser.ask("for (const look of looks) look[0]();"
                          "for (let i = 0; i < 100; i += 1) {"
                          "  document.body.dataset.count = i; await new Promise(requestAnimationFrame) }"
                          "return looks.map((look) => look[1])"),
              parseJson("[400, 1600]"));
    // The rule comes from a style sheet, of which no attribute of the roots tells.
    paint("document.styleSheets[0].deleteRule(0); document.styleSheets[0].insertRule("
          "'body { background: rgb(9, 9, 9) }'); looks[1][0]()",
          2);
    paint("document.body.style.background = 'rgb(4, 5, 6)'", 3);
    // A body without a colour of its own shows that of the root.
    browser.ask("document.documentElement.style.background = 'rgb(7, 8, 9)'");
    paint("document.body.style.background = 'rgba(1, 1, 1, 0)'", 4);
    Json colours;
    for (const auto& body : posted)
        colours.push_back(body.at("background"));
    EXPECT_EQ(colours, Json({"rgb(1, 2, 3)", "rgb(9, 9, 9)", "rgb(4, 5, 6)", "rgb(7, 8, 9)"}));
}

TEST_F(PageScripts, reportTheAccountsBindingsWhenTheServiceHasSome) {
    for (const auto& [status, settings] :
         {std::pair(200U, R"({"shortcuts": {"newTask": "mod+j", "search": 5}})"),
          {200U, "null"},
          {200U, R"({"shortcuts")"},
          {401U, R"({"shortcuts": {"newTask": "mod+l"}})"}}) {
        server.requests.clear();
        server.pages["/api/settings"] = {settings, "application/json", status};
        browser.shows(server.url("/"));
        MainLoop::runUntil([&] { return server.wasAsked("/api/settings"); });
        // What the script does with the answer happens before what the page does after a later request.
        browser.ask("await (await fetch('/')).text(); await new Promise(requestAnimationFrame)");
    }
    std::erase_if(posted, [](const Json& body) { return !body.contains("shortcuts"); });
    EXPECT_THAT(posted, ElementsAre(parseJson(R"({"shortcuts": {"newTask": "mod+j", "search": 5}})")));
}
