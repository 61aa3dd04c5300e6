#include "account/linux/SoupHttpClient.h"

#include "account/linux/DurableCookieJar.h"
#include "account/linux/SoupExchange.h"
#include "platform/Counted.h"
#include "platform/Error.h"
#include "platform/SecretText.h"

#include <memory>

namespace {

constexpr unsigned noTimeout = 0;
constexpr auto requestUriFlags = static_cast<GUriFlags>(SOUP_HTTP_URI_FLAGS);

/// A request's body, which may hold a password: wiped once nobody needs it any more. What the caller held is
/// wiped now.
GBytesPtr makeBody(std::string&& text) {
    auto owner = std::make_unique<SecretText>(std::move(text));
    const auto wipe = [](gpointer held) {
        std::unique_ptr<SecretText>(static_cast<SecretText*>(held)).reset();
    };
    const auto bytes = owner->view();
    return GBytesPtr(g_bytes_new_with_free_func(bytes.data(), bytes.size(), wipe, owner.release()));
}

GPtr<SoupMessage> makeMessage(const HttpRequest& request, GBytes* body) {
    const GUriPtr uri(g_uri_parse(request.url.text().c_str(), requestUriFlags, nullptr));
    const auto* host = uri ? g_uri_get_host(uri.get()) : nullptr;
    if (!host || !*host || !g_str_equal(g_uri_get_scheme(uri.get()), "https"))
        throw TransportError(TransportError::Reason::other,
                             "Not a secure address: " + request.url.text() + ".");
    auto message = GPtr<SoupMessage>::take(soup_message_new_from_uri(request.method.c_str(), uri.get()));
    soup_message_add_flags(message.get(), SOUP_MESSAGE_NO_REDIRECT);
    if (request.method != "GET")
        soup_message_set_request_body_from_bytes(message.get(), nullptr, body);
    for (const auto& [name, value] : request.headers)
        soup_message_headers_replace(soup_message_get_request_headers(message.get()), name.c_str(),
                                     value.c_str());
    return message;
}

/// Where the reply sends the client; null when nowhere.
const char* locationOf(SoupMessage* message, const HttpReply& reply) {
    switch (reply.status.value_or(SOUP_STATUS_NONE)) {
    case SOUP_STATUS_MOVED_PERMANENTLY:
    case SOUP_STATUS_FOUND:
    case SOUP_STATUS_SEE_OTHER:
    case SOUP_STATUS_TEMPORARY_REDIRECT:
    case SOUP_STATUS_PERMANENT_REDIRECT:
        return soup_message_headers_get_one(soup_message_get_response_headers(message), "Location");
    default:
        return nullptr;
    }
}

/// The request to send next, to the address that the reply gives.
HttpRequest redirected(HttpRequest request, int status, const char* location) {
    auto next = request.url.resolve(location);
    if (!next)
        throw TransportError(TransportError::Reason::other, std::string("Not an address: ") + location + ".");
    request.url = std::move(*next);
    if (status != SOUP_STATUS_TEMPORARY_REDIRECT && status != SOUP_STATUS_PERMANENT_REDIRECT) {
        request.method = "GET";
        std::erase_if(request.headers, [](const auto& header) {
            return g_ascii_strcasecmp(header.first.c_str(), "Content-Type") == 0;
        });
    }
    return request;
}

GPtr<GTlsDatabase> trustOnly(const std::filesystem::path& file) {
    GError* error = nullptr;
    const auto path = std::filesystem::absolute(file);
    // The database takes a file without any certificate for an empty one.
    auto* certificates = g_tls_certificate_list_new_from_file(path.c_str(), &error);
    const auto found = certificates != nullptr;
    g_list_free_full(certificates, g_object_unref);
    GPtr<GTlsDatabase> database;
    if (found)
        database = GPtr<GTlsDatabase>::take(g_tls_file_database_new(path.c_str(), &error));
    if (error)
        throw Error(GErrorPtr(error)->message);
    if (!database)
        throw Error("There is no certificate in " + path.string() + ".");
    return database;
}

/// Puts the cookies of a reply on disk before anybody hears of the reply, or of its failure.
class CookiesKept {
public:
    explicit CookiesKept(DurableCookieJar& jar) : jar_(jar) {}
    CookiesKept(const CookiesKept&) = delete;
    CookiesKept& operator=(const CookiesKept&) = delete;
    ~CookiesKept() { jar_.save(); }

private:
    DurableCookieJar& jar_;
};

/// Leaves the exchange when the coroutine that waits for it ends, however that comes.
class Waiting {
public:
    explicit Waiting(SoupExchange& exchange) : exchange_(exchange) {}
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting() { exchange_.leave(); }

private:
    SoupExchange& exchange_;
};

} // namespace

SoupHttpClient::SoupHttpClient(DurableCookieJar& jar, const std::optional<std::filesystem::path>& trusted)
    : jar_(jar),
      session_(GPtr<SoupSession>::take(soup_session_new_with_options("timeout", noTimeout, nullptr))) {
    soup_session_add_feature(session_.get(), SOUP_SESSION_FEATURE(jar_.jar()));
    if (trusted) {
        const auto database = trustOnly(*trusted);
        soup_session_set_tls_database(session_.get(), database.get());
    }
}

SoupHttpClient::~SoupHttpClient() {
    ending_.request_stop();
    soup_session_abort(session_.get()); // lets go of the messages that wait for a connection, too
    while (open_ > 0)
        g_main_context_iteration(nullptr, TRUE);
}

Task<HttpReply> SoupHttpClient::send(HttpRequest request, std::stop_token stop) {
    const Counted counted(open_);
    const CookiesKept kept(jar_);
    const auto body = makeBody(std::move(request.body));
    for (int count = 0; count <= maximumRedirections; ++count) {
        const auto message = makeMessage(request, body.get());
        auto reply = co_await ask(message, request.timeout, stop);
        const auto* location = locationOf(message.get(), reply);
        if (!location)
            co_return reply;
        const auto from = request.url.origin();
        request = redirected(std::move(request), *reply.status, location);
        // What is posted, a password for one, is for the service alone.
        if (body && request.method != "GET" && request.url.origin() != from)
            throw TransportError(TransportError::Reason::other, "The service sends the request elsewhere.");
    }
    throw TransportError(TransportError::Reason::other, "The service redirects without end.");
}

Task<HttpReply> SoupHttpClient::ask(GPtr<SoupMessage> message, std::chrono::milliseconds timeout,
                                    std::stop_token stop) {
    Completion<HttpReply> reply;
    const auto exchange = std::make_shared<SoupExchange>(session_, std::move(message), timeout);
    const Waiting waiting(*exchange);
    const auto cancel = [&exchange] { exchange->stop(); };
    const std::stop_callback stopping(stop, cancel);
    const std::stop_callback ending(ending_.get_token(), cancel);
    exchange->send(reply);
    co_return co_await reply;
}
