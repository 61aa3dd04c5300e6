#pragma once

#include "demo/Certificate.h"
#include "platform/Url.h"
#include "platform/linux/GPtr.h"

#include <gio/gio.h>
#include <sys/socket.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// A service over TLS on a loopback port that the system picks, whose every byte the test decides: what real
/// servers and the networks before them do on bad days. It takes one request from each connection.
///
/// It lives on the main loop, and needs the loop at its end too.
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

    /// Throws std::runtime_error when it cannot listen. `address` is one of this machine's loopback
    /// addresses.
    explicit MisbehavingService(const Answer& answer, const char* address = "127.0.0.1") {
        behave(answer);
        const auto place = GPtr<GSocketAddress>::take(g_inet_socket_address_new_from_string(address, 0));
        GSocketAddress* chosen = nullptr;
        GError* error = nullptr;
        if (!g_socket_listener_add_address(G_SOCKET_LISTENER(listener_.get()), place.get(),
                                           G_SOCKET_TYPE_STREAM, G_SOCKET_PROTOCOL_TCP, nullptr, &chosen,
                                           &error))
            throw std::runtime_error(GErrorPtr(error)->message);
        const auto owner = GPtr<GSocketAddress>::take(chosen);
        const auto port = g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(chosen));
        origin = *Url::parse(std::string("https://") + address + ":" + std::to_string(port));
        g_signal_connect(listener_.get(), "incoming", G_CALLBACK(onIncoming), this);
    }
    MisbehavingService(const MisbehavingService&) = delete;
    MisbehavingService& operator=(const MisbehavingService&) = delete;
    ~MisbehavingService() {
        g_socket_service_stop(listener_.get());
        g_socket_listener_close(G_SOCKET_LISTENER(listener_.get()));
        g_cancellable_cancel(ending_.get());
        while (isConnected())
            g_main_context_iteration(nullptr, TRUE);
    }

    /// A whole HTTP reply, the last of its connection; `headers` are lines that end with CR LF.
    static Answer reply(const std::string& status, const std::string& headers, const std::string& body) {
        return {"HTTP/1.1 " + status + "\r\n" + headers +
                "Connection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body};
    }

    void behave(const Answer& answer) {
        behaviour = [answer](const std::string&) { return answer; };
    }
    /// Sends these bytes to every connection that stands now or will stand later. They have to fit into the
    /// system's buffers.
    void add(std::string_view bytes) {
        added_ += bytes;
        for (auto& connection : connections_)
            if (connection.stands)
                connection.send(bytes);
    }
    /// From now on the system accepts connections, and nobody serves them.
    void ignoreConnections() { g_socket_service_stop(listener_.get()); }
    bool isConnected() const { return !connections_.empty(); }
    Url at(std::string_view path) const { return origin.appendingPath(path); }
    const std::string& certificate() const { return certificate_.pem; }

    Url origin = *Url::parse("");
    std::function<Answer(const std::string& request)> behaviour; ///< for the requests from now on
    int accepted = 0;                                            ///< connections
    std::vector<std::string> requests; ///< each from its first line to the end of its body

private:
    struct Connection {
        MisbehavingService& service;
        GPtr<GSocketConnection> socket;
        GPtr<GIOStream> stream;
        std::array<char, 4096> buffer = {};
        std::string request = {};
        Answer answer = {};
        bool stands = false;

        void read() {
            g_input_stream_read_async(g_io_stream_get_input_stream(stream.get()), buffer.data(),
                                      buffer.size(), G_PRIORITY_DEFAULT, service.ending_.get(), onRead, this);
        }
        void send(std::string_view bytes) const {
            g_output_stream_write_all(g_io_stream_get_output_stream(stream.get()), bytes.data(), bytes.size(),
                                      nullptr, service.ending_.get(), nullptr);
        }
        void forget() {
            service.connections_.remove_if([this](const auto& each) { return &each == this; });
        }
        bool isWhole() const {
            constexpr std::string_view name = "Content-Length: ";
            const auto head = request.find("\r\n\r\n");
            const auto length = request.find(name);
            const auto body = length < head ? std::strtoul(&request[length + name.size()], nullptr, 10) : 0;
            return head != std::string::npos && request.size() >= head + 4 + body;
        }
    };

    static gboolean onIncoming(GSocketService*, GSocketConnection* socket, GObject*,
                               MisbehavingService* self) {
        self->accepted += 1;
        const auto& certificate = self->certificate_.tls;
        self->connections_.emplace_back(*self, GPtr<GSocketConnection>::share(socket),
                                        GPtr<GIOStream>::take(g_tls_server_connection_new(
                                            G_IO_STREAM(socket), certificate.get(), nullptr)));
        self->connections_.back().read();
        return TRUE;
    }
    static void onRead(GObject* input, GAsyncResult* result, gpointer data) {
        auto& self = *static_cast<Connection*>(data);
        const auto count = g_input_stream_read_finish(G_INPUT_STREAM(input), result, nullptr);
        if (count <= 0)
            return self.forget();
        self.request.append(self.buffer.data(), static_cast<std::size_t>(count));
        if (self.stands || !self.isWhole())
            return self.read();
        self.service.requests.push_back(self.request);
        self.answer = self.service.behaviour(self.request);
        g_output_stream_write_all_async(g_io_stream_get_output_stream(self.stream.get()),
                                        self.answer.bytes.data(), self.answer.bytes.size(),
                                        G_PRIORITY_DEFAULT, self.service.ending_.get(), onWritten, data);
    }
    static void onWritten(GObject* output, GAsyncResult* result, gpointer data) {
        auto& self = *static_cast<Connection*>(data);
        g_output_stream_write_all_finish(G_OUTPUT_STREAM(output), result, nullptr, nullptr);
        if (self.answer.end == End::stands) {
            self.stands = true;
            self.send(self.service.added_);
            return self.read();
        }
        if (self.answer.end == End::resets) {
            auto* raw = g_socket_connection_get_socket(self.socket.get());
            const linger dropped = {1, 0};
            setsockopt(g_socket_get_fd(raw), SOL_SOCKET, SO_LINGER, &dropped, sizeof dropped);
            g_socket_close(raw, nullptr);
        }
        // Never at once: the goodbye waits for room that only the client, on this loop too, can make.
        g_io_stream_close_async(
            self.stream.get(), G_PRIORITY_DEFAULT, self.service.ending_.get(),
            [](GObject*, GAsyncResult*, gpointer closed) { static_cast<Connection*>(closed)->forget(); },
            data);
    }

    Demo::Certificate certificate_ = Demo::Certificate::make();
    GPtr<GCancellable> ending_ = GPtr<GCancellable>::take(g_cancellable_new());
    GPtr<GSocketService> listener_ = GPtr<GSocketService>::take(g_socket_service_new());
    std::string added_;
    std::list<Connection> connections_;
};
