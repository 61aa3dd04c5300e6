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
/// servers and the networks before them do on bad days. It takes one request from each connection.
///
/// Connections are accepted by the main loop and served by a thread each. At its end the service closes what
/// is open and waits for those threads. Whatever happens here wakes the main loop, so that a test can wait
/// for it.
class MisbehavingService {
public:
    enum class End {
        closes,
        resets, ///< closes without a goodbye
        stands  ///< is left to the client, and gets what is added
    };
    struct Answer {
        std::string bytes;
        End end = End::closes;
    };
    using Behaviour = std::function<Answer(const std::string& request)>;

    /// Throws std::runtime_error when it cannot listen. `address` is one of this machine's loopback
    /// addresses.
    explicit MisbehavingService(const Answer& answer, const char* address = "127.0.0.1")
        : origin_(std::string("https://") + address + ":") {
        behave(answer);
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
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return open_ == 0; });
    }

    /// A whole HTTP reply, the last of its connection; `headers` are lines that end with CR LF.
    static Answer reply(const std::string& status, const std::string& headers, const std::string& body) {
        return {"HTTP/1.1 " + status + "\r\n" + headers +
                "Connection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body};
    }

    /// For the requests from now on.
    void behave(Behaviour behaviour) {
        change([&] { behaviour_ = std::move(behaviour); });
    }
    void behave(const Answer& answer) {
        behave([answer](const std::string&) { return answer; });
    }
    /// Sends these bytes to every connection that stands now or will stand later. They have to fit into the
    /// system's buffers.
    void add(std::string_view bytes) {
        change([&] {
            added_ += bytes;
            for (auto* stream : standing_)
                send(stream, bytes);
        });
    }
    /// From now on the system accepts connections, and nobody serves them.
    void ignoreConnections() { g_socket_service_stop(listener_.get()); }

    Url origin() const { return *Url::parse(origin_); }
    Url at(std::string_view path) const { return origin().appendingPath(path); }
    const std::string& certificate() const { return certificate_.pem; }
    /// The requests so far, each from its first line to the end of its body.
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
        const auto owner = GPtr<GIOStream>::take(
            g_tls_server_connection_new(G_IO_STREAM(socket), certificate_.tls.get(), nullptr));
        auto* stream = owner.get();
        if (!g_tls_connection_handshake(G_TLS_CONNECTION(stream), ending_.get(), nullptr))
            return;
        const auto request = read(stream);
        if (request.empty())
            return;
        Behaviour behaviour;
        change([&] {
            behaviour = behaviour_;
            requests_.push_back(request);
        });
        const auto answer = behaviour(request);
        send(stream, answer.bytes);
        if (answer.end == End::stands) {
            change([&] {
                standing_.push_back(stream);
                send(stream, added_);
            });
            read(stream);
            change([&] { std::erase(standing_, stream); });
        } else if (answer.end == End::resets) {
            auto* raw = g_socket_connection_get_socket(socket);
            const linger dropped = {1, 0};
            setsockopt(g_socket_get_fd(raw), SOL_SOCKET, SO_LINGER, &dropped, sizeof dropped);
            g_socket_close(raw, nullptr);
        }
        g_io_stream_close(stream, ending_.get(), nullptr);
    }
    /// A whole request; none when the client has gone.
    std::string read(GIOStream* stream) const {
        constexpr std::string_view name = "Content-Length: ";
        std::string text;
        std::array<char, 4096> buffer = {};
        for (;;) {
            const auto head = text.find("\r\n\r\n");
            const auto length = text.find(name);
            const auto body = length < head ? std::strtoul(&text[length + name.size()], nullptr, 10) : 0;
            if (head != std::string::npos && text.size() >= head + 4 + body)
                return text;
            const auto count = g_input_stream_read(g_io_stream_get_input_stream(stream), buffer.data(),
                                                   buffer.size(), ending_.get(), nullptr);
            if (count <= 0)
                return "";
            text.append(buffer.data(), static_cast<std::size_t>(count));
        }
    }
    void send(GIOStream* stream, std::string_view bytes) const {
        g_output_stream_write_all(g_io_stream_get_output_stream(stream), bytes.data(), bytes.size(), nullptr,
                                  ending_.get(), nullptr);
    }

    static constexpr int threads = 16;

    Demo::Certificate certificate_ = Demo::Certificate::make();
    GPtr<GCancellable> ending_ = GPtr<GCancellable>::take(g_cancellable_new());
    GPtr<GSocketService> listener_ = GPtr<GSocketService>::take(g_threaded_socket_service_new(threads));

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    Behaviour behaviour_;
    std::string origin_;
    std::string added_;
    std::vector<GIOStream*> standing_;
    std::vector<std::string> requests_;
    int connections_ = 0;
    int open_ = 0;
};
