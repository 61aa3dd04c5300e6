#include "account/linux/SoupHttpClient.h"

#include "account/linux/DurableCookieJar.h"
#include "platform/Error.h"
#include "platform/linux/GAsync.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

namespace {

constexpr gsize chunkSize = gsize(64) * 1024;
/// Below the drawing of the user interface, so that a long body never holds it up.
constexpr int bodyPriority = G_PRIORITY_DEFAULT_IDLE;
/// Below every source that can bring an answer: after a pause of the whole program, what has arrived counts
/// first.
constexpr int clockPriority = G_PRIORITY_LOW;
constexpr unsigned noTimeout = 0;
constexpr auto uriFlags = static_cast<GUriFlags>(SOUP_HTTP_URI_FLAGS);

[[noreturn]] void throwTransportError(TransportError::Reason reason, const char* description) {
    throw TransportError(reason, description);
}

[[noreturn]] void throwTransportError(int number) {
    throwTransportError(TransportError::Reason::other, g_strerror(number));
}

TransportError::Reason reasonOf(const GError& error) {
    if (g_error_matches(&error, G_IO_ERROR, G_IO_ERROR_CANCELLED))
        return TransportError::Reason::cancelled;
    if (g_error_matches(&error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT))
        return TransportError::Reason::timedOut;
    // A connection that breaks off says nothing about who is at the other end.
    if (error.domain == G_TLS_ERROR && error.code != G_TLS_ERROR_EOF)
        return TransportError::Reason::untrusted;
    return TransportError::Reason::other;
}

/// A request's body, which may hold a password: wiped once libsoup has let go of it.
GBytesPtr makeBody(std::string text) {
    auto owner = std::make_unique<std::string>(std::move(text));
    const auto free = [](gpointer held) {
        const std::unique_ptr<std::string> body(static_cast<std::string*>(held));
        explicit_bzero(body->data(), body->size());
    };
    auto* body = owner.release();
    return GBytesPtr(g_bytes_new_with_free_func(body->data(), body->size(), free, body));
}

GPtr<SoupMessage> makeMessage(HttpRequest& request) {
    const auto message =
        GPtr<SoupMessage>::take(soup_message_new(request.method.c_str(), request.url.text().c_str()));
    if (!message)
        throwTransportError(EINVAL);
    if (request.method != "GET") {
        const auto body = makeBody(std::move(request.body));
        soup_message_set_request_body_from_bytes(message.get(), nullptr, body.get());
    }
    for (const auto& [name, value] : request.headers)
        soup_message_headers_replace(soup_message_get_request_headers(message.get()), name.c_str(),
                                     value.c_str());
    return message;
}

bool isRedirection(SoupStatus status) {
    return status == SOUP_STATUS_MOVED_PERMANENTLY || status == SOUP_STATUS_FOUND ||
           status == SOUP_STATUS_SEE_OTHER || status == SOUP_STATUS_TEMPORARY_REDIRECT ||
           status == SOUP_STATUS_PERMANENT_REDIRECT;
}

bool isSecure(SoupMessage* message, const char* location) {
    const GUriPtr target(g_uri_parse_relative(soup_message_get_uri(message), location, uriFlags, nullptr));
    return target && g_str_equal(g_uri_get_scheme(target.get()), "https");
}

/// libsoup takes the end of a connection that was going to be closed for the end of the body, even where the
/// reply has announced more. A compressed body has an end of its own, which the decoder looks for.
bool isCutShort(SoupMessage* message, std::size_t received) {
    const auto status = soup_message_get_status(message);
    if (status == SOUP_STATUS_NO_CONTENT || status == SOUP_STATUS_NOT_MODIFIED)
        return false;
    auto* headers = soup_message_get_response_headers(message);
    if (soup_message_headers_get_encoding(headers) != SOUP_ENCODING_CONTENT_LENGTH ||
        soup_message_headers_get_one(headers, "Content-Encoding"))
        return false;
    return std::cmp_less(received, soup_message_headers_get_content_length(headers));
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

class Counted {
public:
    explicit Counted(int& count) : count_(count) { count_ += 1; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() { count_ -= 1; }

private:
    int& count_;
};

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

} // namespace

/// One request on its way: what may end it early, and why it did.
class SoupHttpClient::Exchange {
public:
    Exchange(GPtr<SoupMessage> message, std::chrono::milliseconds timeout)
        : message_(std::move(message)),
          cancellable_(GPtr<GCancellable>::take(g_cancellable_new())),
          timeout_(timeout),
          clock_(g_timeout_source_new(std::numeric_limits<guint>::max())),
          gotHeaders_(message_.get(),
                      g_signal_connect(message_.get(), "got-headers", G_CALLBACK(checkHeaders), this)) {
        g_source_set_priority(clock_, clockPriority);
        g_source_set_callback(clock_, expire, this, nullptr);
        g_source_attach(clock_, nullptr);
        restartClock();
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;
    ~Exchange() {
        g_source_destroy(clock_);
        g_source_unref(clock_);
    }

    SoupMessage* message() const { return message_.get(); }
    GCancellable* cancellable() const { return cancellable_.get(); }
    int status() const { return static_cast<int>(soup_message_get_status(message())); }

    void cancel() { g_cancellable_cancel(cancellable()); }
    /// Something has arrived.
    void restartClock() {
        const auto wait = std::chrono::duration_cast<std::chrono::microseconds>(timeout_).count();
        g_source_set_ready_time(clock_, g_get_monotonic_time() + wait);
    }
    /// Throws what became of the request when `error` is set; takes it over.
    void check(GError* error) const {
        const GErrorPtr owner(error);
        if (refused_)
            throwTransportError(TransportError::Reason::other,
                                "The service redirects to an address that is not secure.");
        if (!error)
            return;
        const auto reason = reasonOf(*error);
        if (timedOut_ && reason == TransportError::Reason::cancelled)
            throwTransportError(TransportError::Reason::timedOut, g_strerror(ETIMEDOUT));
        throwTransportError(reason, error->message);
    }

private:
    static void checkHeaders(SoupMessage* message, gpointer self) {
        auto* exchange = static_cast<Exchange*>(self);
        exchange->restartClock();
        auto* headers = soup_message_get_response_headers(message);
        const auto* location = soup_message_headers_get_one(headers, "Location");
        if (!location || !isRedirection(soup_message_get_status(message)) || isSecure(message, location))
            return;
        // Without the header there is nowhere to go, so libsoup hands the reply out and sends nothing.
        exchange->refused_ = true;
        soup_message_headers_remove(headers, "Location");
    }
    static gboolean expire(gpointer self) {
        auto* exchange = static_cast<Exchange*>(self);
        exchange->timedOut_ = true;
        exchange->cancel();
        return G_SOURCE_REMOVE;
    }

    GPtr<SoupMessage> message_;
    GPtr<GCancellable> cancellable_;
    std::chrono::milliseconds timeout_;
    GSource* clock_;
    SignalConnection gotHeaders_;
    bool timedOut_ = false;
    bool refused_ = false;
};

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
    cancelAll();
}

void SoupHttpClient::cancelAll() {
    ending_.request_stop();
    while (open_ > 0)
        g_main_context_iteration(nullptr, TRUE);
}

Task<HttpReply> SoupHttpClient::send(HttpRequest request, std::stop_token stop) {
    const Counted counted(open_);
    const CookiesKept kept(jar_);
    Exchange exchange(makeMessage(request), request.timeout);
    const auto cancel = [&exchange] { exchange.cancel(); };
    const std::stop_callback stopping(stop, cancel);
    const std::stop_callback ending(ending_.get_token(), cancel);
    GError* error = nullptr;
    g_cancellable_set_error_if_cancelled(exchange.cancellable(), &error);
    exchange.check(error);

    GAsync sending;
    soup_session_send_async(session_.get(), exchange.message(), G_PRIORITY_DEFAULT, exchange.cancellable(),
                            GAsync::ready, &sending);
    const auto sent = co_await sending.settlement();
    const auto stream =
        GPtr<GInputStream>::take(soup_session_send_finish(session_.get(), sent.get(), &error));
    if (error && g_error_matches(error, SOUP_SESSION_ERROR, SOUP_SESSION_ERROR_PARSING)) {
        g_error_free(error);
        co_return HttpReply(std::nullopt, std::string());
    }
    exchange.check(error);

    std::string body;
    for (;;) {
        exchange.restartClock();
        GAsync reading;
        g_input_stream_read_bytes_async(stream.get(), chunkSize, bodyPriority, exchange.cancellable(),
                                        GAsync::ready, &reading);
        const auto read = co_await reading.settlement();
        const GBytesPtr chunk(g_input_stream_read_bytes_finish(stream.get(), read.get(), &error));
        exchange.check(error);
        gsize size = 0;
        const auto* data = static_cast<const char*>(g_bytes_get_data(chunk.get(), &size));
        if (size == 0)
            break;
        if (body.size() + size > maximumBody)
            throwTransportError(EMSGSIZE);
        body.append(data, size);
    }
    if (isCutShort(exchange.message(), body.size()))
        throwTransportError(ECONNRESET);
    co_return HttpReply(exchange.status(), std::move(body));
}
