#include "web/linux/WebKitMessages.h"

#include "platform/Error.h"

namespace {

/// Null for what JSON has no word for.
Json toJson(JSCValue* value) {
    const GText text(jsc_value_to_json(value, 0));
    if (!text)
        return nullptr;
    auto json = parseJson(text.get());
    if (json.is_discarded())
        json = nullptr;
    return json;
}

struct ReplyUnref {
    void operator()(WebKitScriptMessageReply* reply) const { webkit_script_message_reply_unref(reply); }
};
using ReplyPtr = std::unique_ptr<WebKitScriptMessageReply, ReplyUnref>;

/// Keeps the context of the message alive, in which the value of the reply is made.
Task<> answer(Task<Json> call, ReplyPtr reply, GPtr<JSCContext> context) {
    std::string failure;
    try {
        const auto result = co_await std::move(call);
        const auto text = result.dump(-1, ' ', false, Json::error_handler_t::replace);
        const auto value = GPtr<JSCValue>::take(jsc_value_new_from_json(context.get(), text.c_str()));
        webkit_script_message_reply_return_value(reply.get(), value.get());
        co_return;
    } catch (const std::exception& error) {
        failure = error.what();
    }
    webkit_script_message_reply_return_error_message(reply.get(), failure.c_str());
}

} // namespace

struct WebKitMessages::Handler {
    std::function<void(const Json&)> receive;
    std::function<Task<Json>(Json)> call;
};

WebKitMessages::WebKitMessages()
    : manager_(GPtr<WebKitUserContentManager>::take(webkit_user_content_manager_new())) {}

WebKitMessages::~WebKitMessages() = default;

void WebKitMessages::addUserScript(const UserScript& script) {
    const auto time = script.time == UserScript::Time::documentStart
                          ? WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START
                          : WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_END;
    const auto host = script.origin.origin();
    const auto port = script.origin.port() ? ":" + std::to_string(*script.origin.port()) : std::string();
    const auto pattern = host.substr(0, host.size() - port.size()) + "/*";
    const char* const allowed[] = {pattern.c_str(), nullptr};
    auto* const added = webkit_user_script_new(script.source.c_str(), WEBKIT_USER_CONTENT_INJECT_TOP_FRAME,
                                               time, allowed, nullptr);
    webkit_user_content_manager_add_script(manager_.get(), added);
    webkit_user_script_unref(added);
}

void WebKitMessages::connect(const char* signal, const std::string& name, GCallback receive,
                             std::unique_ptr<Handler> handler) {
    // Connected before the name is known to the page, so that no message comes in between.
    const auto detailed = std::string(signal) + "::" + name;
    connections_.emplace_back(manager_.get(),
                              g_signal_connect(manager_.get(), detailed.c_str(), receive, handler.get()));
    handlers_.push_back(std::move(handler));
}

void WebKitMessages::addHandler(const std::string& name, std::function<void(const Json&)> handler) {
    const auto received = +[](WebKitUserContentManager*, JSCValue* value, Handler* self) {
        // The callback may end this object, and with it the callback.
        const auto tell = self->receive;
        tell(toJson(value));
    };
    auto kept = std::make_unique<Handler>();
    kept->receive = std::move(handler);
    connect("script-message-received", name, G_CALLBACK(received), std::move(kept));
    webkit_user_content_manager_register_script_message_handler(manager_.get(), name.c_str(), nullptr);
}

void WebKitMessages::addReplyingHandler(const std::string& name, std::function<Task<Json>(Json)> handler) {
    const auto received = +[](WebKitUserContentManager*, JSCValue* value, WebKitScriptMessageReply* reply,
                              Handler* self) -> gboolean {
        const auto call = self->call;
        spawn(answer(call(toJson(value)), ReplyPtr(webkit_script_message_reply_ref(reply)),
                     GPtr<JSCContext>::share(jsc_value_get_context(value))));
        return TRUE;
    };
    auto kept = std::make_unique<Handler>();
    kept->call = std::move(handler);
    connect("script-message-with-reply-received", name, G_CALLBACK(received), std::move(kept));
    webkit_user_content_manager_register_script_message_handler_with_reply(manager_.get(), name.c_str(),
                                                                           nullptr);
}
