#include "account/linux/SoupExchange.h"

#include <cerrno>
#include <exception>
#include <utility>

namespace {

constexpr gsize chunkSize = gsize(64) * 1024;
/// Below the drawing of the user interface, so that a long body never holds it up.
constexpr int bodyPriority = G_PRIORITY_DEFAULT_IDLE;
/// Below every source that can bring an answer: after a pause of the whole program, what has arrived counts
/// first.
constexpr int clockPriority = G_PRIORITY_LOW;

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

/// As a number, since the enumeration has no room for what a service may make up.
int statusOf(SoupMessage* message) {
    guint status = SOUP_STATUS_NONE;
    g_object_get(message, "status-code", &status, nullptr);
    return static_cast<int>(status);
}

} // namespace

SoupExchange::SoupExchange(GPtr<SoupSession> session, GPtr<SoupMessage> message,
                           std::chrono::milliseconds timeout)
    : session_(std::move(session)),
      message_(std::move(message)),
      timeout_(timeout),
      cancellable_(GPtr<GCancellable>::take(g_cancellable_new())),
      gotHeaders_(message_.get(),
                  g_signal_connect(message_.get(), "got-headers", G_CALLBACK(onHeaders), this)) {
    soup_message_add_flags(message_.get(), SOUP_MESSAGE_COLLECT_METRICS);
}

void SoupExchange::send(Completion<HttpReply>& reply) {
    waiting_ = &reply;
    if (g_cancellable_is_cancelled(cancellable_.get()))
        return;
    clock_.reset(g_timeout_source_new(G_MAXUINT));
    g_source_set_priority(clock_.get(), clockPriority);
    g_source_set_callback(clock_.get(), onTimeout, this, nullptr);
    g_source_attach(clock_.get(), nullptr);
    restartClock();
    self_ = shared_from_this();
    soup_session_send_async(session_.get(), message_.get(), G_PRIORITY_DEFAULT, cancellable_.get(), onSent,
                            this);
}

void SoupExchange::stop() {
    g_cancellable_cancel(cancellable_.get());
    if (stopping_)
        return;
    stopping_.reset(g_idle_source_new());
    g_source_set_priority(stopping_.get(), G_PRIORITY_DEFAULT);
    g_source_set_callback(stopping_.get(), onStop, this, nullptr);
    g_source_attach(stopping_.get(), nullptr);
}

void SoupExchange::leave() {
    waiting_ = nullptr;
    clock_.reset();
    stopping_.reset();
    g_cancellable_cancel(cancellable_.get());
}

void SoupExchange::onSent(GObject*, GAsyncResult* result, gpointer self) {
    const auto exchange = std::exchange(static_cast<SoupExchange*>(self)->self_, nullptr);
    GError* error = nullptr;
    exchange->stream_ =
        GPtr<GInputStream>::take(soup_session_send_finish(exchange->session_.get(), result, &error));
    const GErrorPtr failure(error);
    if (!failure)
        exchange->read();
    else if (g_error_matches(error, SOUP_SESSION_ERROR, SOUP_SESSION_ERROR_PARSING))
        exchange->resolve({.status = std::nullopt, .body = {}});
    else
        exchange->fail(error);
}

void SoupExchange::onRead(GObject* stream, GAsyncResult* result, gpointer self) {
    const auto exchange = std::exchange(static_cast<SoupExchange*>(self)->self_, nullptr);
    GError* error = nullptr;
    const GBytesPtr chunk(g_input_stream_read_bytes_finish(G_INPUT_STREAM(stream), result, &error));
    const GErrorPtr failure(error);
    if (failure)
        exchange->fail(error);
    else
        exchange->take(chunk.get());
}

void SoupExchange::onHeaders(SoupMessage*, gpointer self) {
    static_cast<SoupExchange*>(self)->restartClock();
}

gboolean SoupExchange::onStop(gpointer self) {
    const auto exchange = static_cast<SoupExchange*>(self)->shared_from_this();
    GError* error = nullptr;
    g_cancellable_set_error_if_cancelled(exchange->cancellable_.get(), &error);
    const GErrorPtr failure(error);
    exchange->fail(error);
    return G_SOURCE_REMOVE;
}

gboolean SoupExchange::onTimeout(gpointer self) {
    const auto exchange = static_cast<SoupExchange*>(self)->shared_from_this();
    exchange->fail(TransportError::Reason::timedOut, g_strerror(ETIMEDOUT));
    return G_SOURCE_REMOVE;
}

/// Something has arrived.
void SoupExchange::restartClock() {
    const auto wait = std::chrono::duration_cast<std::chrono::microseconds>(timeout_).count();
    if (clock_)
        g_source_set_ready_time(clock_.get(), g_get_monotonic_time() + wait);
}

void SoupExchange::read() {
    restartClock();
    self_ = shared_from_this();
    g_input_stream_read_bytes_async(stream_.get(), chunkSize, bodyPriority, cancellable_.get(), onRead, this);
}

void SoupExchange::take(GBytes* chunk) {
    gsize size = 0;
    const auto* data = static_cast<const char*>(g_bytes_get_data(chunk, &size));
    if (size == 0) {
        if (isCutShort())
            fail(TransportError::Reason::other, g_strerror(ECONNRESET));
        else
            resolve({.status = statusOf(message_.get()), .body = std::move(body_)});
        return;
    }
    if (body_.size() + size > maximumBody) {
        fail(TransportError::Reason::other, g_strerror(EMSGSIZE));
        return;
    }
    body_.append(data, size);
    read();
}

/// libsoup takes the end of a connection that was going to be closed for the end of the body, even where the
/// reply has announced more.
bool SoupExchange::isCutShort() const {
    const auto status = statusOf(message_.get());
    auto* headers = soup_message_get_response_headers(message_.get());
    if (status == SOUP_STATUS_NO_CONTENT || status == SOUP_STATUS_NOT_MODIFIED ||
        soup_message_headers_get_encoding(headers) != SOUP_ENCODING_CONTENT_LENGTH)
        return false;
    const auto received =
        soup_message_metrics_get_response_body_bytes_received(soup_message_get_metrics(message_.get()));
    return std::cmp_less(received, soup_message_headers_get_content_length(headers));
}

void SoupExchange::fail(const GError* error) {
    fail(reasonOf(*error), error->message);
}

void SoupExchange::fail(TransportError::Reason reason, const char* description) {
    auto failure = std::make_exception_ptr(TransportError(reason, description));
    auto* waiting = waiting_;
    leave();
    if (waiting)
        waiting->fail(std::move(failure));
}

void SoupExchange::resolve(HttpReply reply) {
    auto* waiting = waiting_;
    leave();
    if (waiting)
        waiting->resolve(std::move(reply));
}
