#pragma once

#include "demo/Certificate.h"
#include "platform/Url.h"
#include "platform/linux/GPtr.h"

#include <gio/gio.h>
#include <sys/socket.h>

#include <array>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// A service over TLS on a loopback port that the system picks, whose every byte the test decides: what real
/// servers and the networks before them do on bad days.
///
/// Connections are accepted by the main loop and served by a thread each, so that a behaviour reads from top
/// to bottom. At its end the service closes what is open and waits for those threads. Whatever happens here
/// wakes the main loop, so that a test can wait for it.
class MisbehavingService {
public:
    /// One connection, from the server's side.
    class Conversation {
    public:
        Conversation(MisbehavingService& service, GSocketConnection* socket, GIOStream* stream)
            : service_(service), socket_(socket), stream_(stream) {}

        /// The next request, head and body; empty when the client has gone.
        std::string request() {
            std::array<char, 4096> buffer = {};
            for (auto end = endOfRequest(); end == std::string::npos; end = endOfRequest()) {
                const auto count = g_input_stream_read(g_io_stream_get_input_stream(stream_), buffer.data(),
                                                       buffer.size(), service_.ending_.get(), nullptr);
                if (count <= 0)
                    return {};
                unread_.append(buffer.data(), static_cast<std::size_t>(count));
            }
            auto whole = unread_.substr(0, endOfRequest());
            unread_.erase(0, whole.size());
            service_.change([&] { service_.requests_.push_back(whole); });
            return whole;
        }
        /// False when the client has gone.
        bool send(std::string_view bytes) {
            return g_output_stream_write_all(g_io_stream_get_output_stream(stream_), bytes.data(),
                                             bytes.size(), nullptr, service_.ending_.get(), nullptr);
        }
        /// Closes without a goodbye, so that the client sees a reset.
        void reset() {
            auto* socket = g_socket_connection_get_socket(socket_);
            const linger dropped = {1, 0};
            setsockopt(g_socket_get_fd(socket), SOL_SOCKET, SO_LINGER, &dropped, sizeof dropped);
            g_socket_close(socket, nullptr);
        }
        /// Lets the connection stand until the client closes it.
        void awaitEnd() {
            while (!request().empty()) {
            }
        }
        /// Waits until the test admits one step more, or the service ends.
        void awaitStep() {
            std::unique_lock lock(service_.mutex_);
            service_.changed_.wait(lock, [this] { return service_.steps_ > 0 || service_.ended_; });
            service_.steps_ -= 1;
        }

    private:
        std::size_t endOfRequest() const {
            constexpr std::string_view name = "Content-Length: ";
            const auto head = unread_.find("\r\n\r\n");
            const auto length = unread_.find(name);
            const auto body = length < head ? std::strtoul(&unread_[length + name.size()], nullptr, 10) : 0;
            const auto end = head + 4 + body;
            return head == std::string::npos || unread_.size() < end ? std::string::npos : end;
        }

        MisbehavingService& service_;
        GSocketConnection* socket_;
        GIOStream* stream_;
        std::string unread_;
    };

    using Behaviour = std::function<void(Conversation&)>;

    /// Throws std::runtime_error when it cannot listen. `address` is one of this machine's loopback
    /// addresses.
    explicit MisbehavingService(Behaviour behaviour, const char* address = "127.0.0.1")
        : behaviour_(std::move(behaviour)), origin_(std::string("https://") + address + ":") {
        const auto place = GPtr<GSocketAddress>::take(g_inet_socket_address_new_from_string(address, 0));
        GSocketAddress* chosen = nullptr;
        GError* error = nullptr;
        if (!g_socket_listener_add_address(G_SOCKET_LISTENER(listener_.get()), place.get(),
                                           G_SOCKET_TYPE_STREAM, G_SOCKET_PROTOCOL_TCP, nullptr, &chosen,
                                           &error))
            throw std::runtime_error(GErrorPtr(error)->message);
        const auto owner = GPtr<GSocketAddress>::take(chosen);
        origin_ += std::to_string(g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(chosen)));
        g_signal_connect(listener_.get(), "incoming", G_CALLBACK(note), this);
        g_signal_connect(listener_.get(), "run", G_CALLBACK(serve), this);
    }
    MisbehavingService(const MisbehavingService&) = delete;
    MisbehavingService& operator=(const MisbehavingService&) = delete;
    ~MisbehavingService() {
        g_socket_service_stop(listener_.get());
        g_socket_listener_close(G_SOCKET_LISTENER(listener_.get()));
        g_cancellable_cancel(ending_.get());
        change([this] { ended_ = true; });
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return open_ == 0; });
    }

    /// A behaviour that answers one request with these bytes and closes the connection.
    static Behaviour replying(std::string bytes) {
        return [bytes = std::move(bytes)](Conversation& conversation) {
            conversation.request();
            conversation.send(bytes);
        };
    }
    /// A whole HTTP reply, the last of its connection; `headers` are lines that end with CR LF.
    static std::string reply(const std::string& status, const std::string& headers, const std::string& body) {
        return "HTTP/1.1 " + status + "\r\n" + headers +
               "Connection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }

    /// For the connections from now on.
    void behave(Behaviour behaviour) {
        change([&] { behaviour_ = std::move(behaviour); });
    }
    /// Lets the conversations take so many steps more, now or later.
    void admit(int steps) {
        change([&] { steps_ += steps; });
    }

    /// From now on the system accepts connections, and nobody serves them.
    void ignoreConnections() { g_socket_service_stop(listener_.get()); }

    Url origin() const { return *Url::parse(origin_); }
    Url at(std::string_view path) const { return origin().appendingPath(path); }
    const std::string& certificate() const { return certificate_.pem; }
    /// The requests so far, in the order in which they came.
    std::vector<std::string> requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }
    /// The connections so far, and how many of them are still open.
    std::pair<int, int> connections() const {
        const std::lock_guard lock(mutex_);
        return {connections_, open_};
    }

private:
    void change(const std::function<void()>& action) {
        const std::lock_guard lock(mutex_);
        action();
        changed_.notify_all();
        g_main_context_wakeup(nullptr);
    }
    /// On the main loop, so that no connection is unknown when the service ends.
    static gboolean note(GSocketService*, GSocketConnection*, GObject*, gpointer data) {
        auto* self = static_cast<MisbehavingService*>(data);
        self->change([self] {
            self->connections_ += 1;
            self->open_ += 1;
        });
        return FALSE;
    }
    static gboolean serve(GThreadedSocketService*, GSocketConnection* socket, GObject*, gpointer data) {
        auto* self = static_cast<MisbehavingService*>(data);
        self->converse(socket);
        self->change([self] { self->open_ -= 1; });
        return TRUE;
    }
    void converse(GSocketConnection* socket) {
        const auto stream = GPtr<GIOStream>::take(
            g_tls_server_connection_new(G_IO_STREAM(socket), certificate_.tls.get(), nullptr));
        if (!stream || !g_tls_connection_handshake(G_TLS_CONNECTION(stream.get()), ending_.get(), nullptr))
            return;
        Behaviour behaviour;
        change([&] { behaviour = behaviour_; });
        Conversation conversation(*this, socket, stream.get());
        behaviour(conversation);
        g_io_stream_close(stream.get(), ending_.get(), nullptr);
    }

    static constexpr int threads = 16;

    Demo::Certificate certificate_ = Demo::Certificate::make();
    GPtr<GCancellable> ending_ = GPtr<GCancellable>::take(g_cancellable_new());
    GPtr<GSocketService> listener_ = GPtr<GSocketService>::take(g_threaded_socket_service_new(threads));

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    Behaviour behaviour_;
    std::string origin_;
    std::vector<std::string> requests_;
    int connections_ = 0;
    int open_ = 0;
    int steps_ = 0;
    bool ended_ = false;
};
