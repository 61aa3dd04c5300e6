#pragma once

#include "platform/Error.h"
#include "platform/HttpClient.h"
#include "platform/Task.h"
#include "platform/linux/GPtr.h"

#include <libsoup/soup.h>

#include <chrono>
#include <memory>
#include <string>

/// One message on its way through an HTTP session, from its sending to the last byte of the reply.
///
/// It ends once: with the reply, with what libsoup reports, when nothing has arrived for the given time, or
/// when it is stopped. Neither a time-out nor a stop waits for libsoup, which lets some cancelled messages
/// lie (those that wait for a connection, for one); the exchange keeps itself alive until libsoup has let go
/// of it.
class SoupExchange : public std::enable_shared_from_this<SoupExchange> {
public:
    /// A reply of more bytes fails: far beyond any reply of the service, it keeps an endless one from using
    /// up the memory. Compressed replies come out plain and are measured so.
    static constexpr std::size_t maximumBody = std::size_t(64) << 20;

    SoupExchange(GPtr<SoupSession> session, GPtr<SoupMessage> message, std::chrono::milliseconds timeout);
    SoupExchange(const SoupExchange&) = delete;
    SoupExchange& operator=(const SoupExchange&) = delete;

    /// Sends the message and settles `reply`, from the main loop, unless `leave` comes first. Failures are
    /// TransportErrors.
    void send(Completion<HttpReply>& reply);
    /// Ends the exchange as cancelled, soon, but never before this has returned. It may come before `send`.
    void stop();
    /// Nobody waits any more: the exchange ends and settles nothing.
    void leave();

private:
    struct SourceEnd {
        void operator()(GSource* source) const {
            g_source_destroy(source);
            g_source_unref(source);
        }
    };
    using SourcePtr = std::unique_ptr<GSource, SourceEnd>;

    static void onSent(GObject*, GAsyncResult* result, gpointer self);
    static void onRead(GObject*, GAsyncResult* result, gpointer self);
    static void onHeaders(SoupMessage*, gpointer self);
    static gboolean onStop(gpointer self);
    static gboolean onTimeout(gpointer self);

    void restartClock();
    void read();
    void take(GBytes* chunk);
    bool isCutShort() const;
    void fail(const GError* error);
    void fail(TransportError::Reason reason, const char* description);
    void resolve(HttpReply reply);

    GPtr<SoupSession> session_;
    GPtr<SoupMessage> message_;
    std::chrono::milliseconds timeout_;
    GPtr<GCancellable> cancellable_;
    GPtr<GInputStream> stream_;
    std::string body_;
    SignalConnection gotHeaders_;
    SourcePtr clock_;
    SourcePtr stopping_;
    Completion<HttpReply>* waiting_ = nullptr;
    std::shared_ptr<SoupExchange> self_; ///< set while libsoup holds a pointer to this
};
