#include "fakes/FakeProgram.h"
#include "linux/MainLoop.h"
#include "platform/linux/GPtr.h"
#include "platform/linux/JsonUserDefaults.h"
#include "platform/linux/TemporaryFolder.h"
#include "web/Bridge.h"
#include "web/PageToken.h"
#include "web/Scripts.h"
#include "web/linux/WebEngine.h"

#include <webkit/webkit.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

// What a page's call of the shell costs beside what the engine takes for a message and a constant reply: both
// from one page, block by block in turn.

namespace {

constexpr double limit = 1.15;
constexpr int blocks = 40;
constexpr int callsOfABlock = 250;
constexpr auto constant = R"({"hasPasscode":true,"digits":6,"autoLock":true,"minutes":5})";

gboolean replyConstant(WebKitUserContentManager*, JSCValue* message, WebKitScriptMessageReply* reply,
                       gpointer) {
    const auto value =
        GPtr<JSCValue>::take(jsc_value_new_from_json(jsc_value_get_context(message), constant));
    webkit_script_message_reply_return_value(reply, value.get());
    return TRUE;
}

/// The engine's own view, in the view of the program; null when it is not there.
WebKitWebView* engineViewIn(GtkWidget* widget) {
    if (WEBKIT_IS_WEB_VIEW(widget))
        return WEBKIT_WEB_VIEW(widget);
    WebKitWebView* found = nullptr;
    for (auto* child = gtk_widget_get_first_child(widget); child && !found;
         child = gtk_widget_get_next_sibling(child))
        found = engineViewIn(child);
    return found;
}

void addBareHandler(WebKitWebView* view) {
    auto* const manager = webkit_web_view_get_user_content_manager(view);
    g_signal_connect(manager, "script-message-with-reply-received::bare", G_CALLBACK(replyConstant), nullptr);
    webkit_user_content_manager_register_script_message_handler_with_reply(manager, "bare", nullptr);
}

/// Milliseconds of one call.
double measure(GtkWebView& view, const std::string& call) {
    const auto start = std::chrono::steady_clock::now();
    MainLoop::finish(view.evaluateForResult("for (let i = 0; i < " + std::to_string(callsOfABlock) +
                                            "; i += 1) await " + call));
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    return time.count() / callsOfABlock;
}

} // namespace

int main() {
    if (!gtk_init_check()) {
        std::fputs("bridge-benchmark: there is no display\n", stderr);
        return EXIT_FAILURE;
    }
    const TemporaryFolder folder("bridge-benchmark");
    FakeProgram program;
    JsonUserDefaults defaults(folder.path() / "preferences.json");
    Passcode passcode(program.keychain, defaults, program.clock);
    MainLoop::finish(passcode.set(SecretText("184312"), "ada", SecretText("secret")));
    Remembered remembered(defaults);
    const Bridge bridge(
        {program.notifications, program.reminders, *program.appLock, passcode, remembered, defaults});

    const auto engine = loadWebEngine({.data = folder.path() / "data",
                                       .cache = folder.path() / "cache",
                                       .origin = Url::parse("https://localhost").value(),
                                       .trusted = std::nullopt,
                                       .acceleration = false});
    auto* const window = gtk_window_new();
    const auto view = engine->makeView();
    const auto origin = Url::parse("https://localhost").value();
    const PageToken token;
    view->addUserScript(
        {Scripts::page(origin.text(), token.text()), UserScript::Time::documentStart, origin});
    view->addReplyingMessageHandler(Bridge::handlerName,
                                    [&](const Json& message) { return bridge.call(token.bodyOf(message)); });
    auto* const webView = engineViewIn(view->widget());
    addBareHandler(webView);
    gtk_window_set_child(GTK_WINDOW(window), view->widget());
    gtk_window_present(GTK_WINDOW(window));
    bool isLoaded = false;
    view->onFinished = [&] { isLoaded = true; };
    webkit_web_view_load_html(webView, "<!doctype html><body>", "https://localhost/");
    MainLoop::runUntil([&] { return isLoaded; });

    const std::pair<std::string, std::string> calls(
        "webkit.messageHandlers.bare.postMessage({name: 'lockSummary', options: {}})",
        "BriskoNative.lockSummary()");
    // The quickest block of each is the one that nothing else on the machine was in the way of.
    auto bare = measure(*view, calls.first);
    auto ours = measure(*view, calls.second);
    for (int block = 1; block < blocks; ++block) {
        bare = std::min(bare, measure(*view, calls.first));
        ours = std::min(ours, measure(*view, calls.second));
    }
    const auto ratio = ours / bare;
    std::printf("  bare engine %.3f ms, lockSummary %.3f ms, ratio %.2f (limit %.2f)%s\n", bare, ours, ratio,
                limit, ratio > limit ? "  TOO MUCH" : "");
    gtk_window_destroy(GTK_WINDOW(window));
    return ratio <= limit ? EXIT_SUCCESS : EXIT_FAILURE;
}
