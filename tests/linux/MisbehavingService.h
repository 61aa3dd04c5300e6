#pragma once

#include "demo/Certificate.h"
#include "platform/Url.h"
#include "platform/linux/GPtr.h"

#include <libsoup/soup.h>
#include <sys/socket.h>

#include <functional>
#include <list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// A service on a loopback port that the system picks, each of whose answers the test decides byte by byte:
/// what real servers and the networks before them do on bad days. It takes one request from each connection.
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
    /// addresses; `scheme` "http" makes a service without TLS.
    explicit MisbehavingService(const Answer& answer, const char* address = "127.0.0.1",
                                const std::string& scheme = "https") {
        behave(answer);
        const auto place = GPtr<GSocketAddress>::take(g_inet_socket_address_new_from_string(address, 0));
        soup_server_set_tls_certificate(server_.get(), certificate_.tls.get());
        soup_server_add_handler(server_.get(), nullptr, onRequest, this, nullptr);
        const auto options = scheme == "https" ? SOUP_SERVER_LISTEN_HTTPS : SoupServerListenOptions(0);
        GError* error = nullptr;
        if (!soup_server_listen(server_.get(), place.get(), options, &error))
            throw std::runtime_error(GErrorPtr(error)->message);
        auto* const uris = soup_server_get_uris(server_.get());
        const auto port = std::to_string(g_uri_get_port(static_cast<GUri*>(uris->data)));
        g_slist_free_full(uris, [](gpointer uri) { g_uri_unref(static_cast<GUri*>(uri)); });
        origin = *Url::parse(scheme + "://" + address + ":" + port);
    }
    MisbehavingService(const MisbehavingService&) = delete;
    MisbehavingService& operator=(const MisbehavingService&) = delete;
    ~MisbehavingService() {
        soup_server_disconnect(server_.get());
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
        for (const auto& connection : connections_)
            if (connection.stands)
                send(connection, bytes);
    }
    bool isConnected() const { return !connections_.empty(); }
    Url at(std::string_view path) const { return origin.appendingPath(path); }
    const std::string& certificate() const { return certificate_.pem; }

    Url origin = *Url::parse("");
    std::function<Answer(const std::string& request)> behaviour; ///< for the requests from now on
    std::vector<std::string> requests; ///< each from its first line to the end of its body

private:
    struct Connection {
        MisbehavingService& service;
        Answer answer;
        GPtr<GIOStream> stream = {};
        bool stands = false;
        char waited = 0;
    };

    static void onRequest(SoupServer*, SoupServerMessage* message, const char* path, GHashTable*,
                          gpointer service) {
        auto& self = *static_cast<MisbehavingService*>(service);
        auto text = std::string(soup_server_message_get_method(message)) + " " + path + " HTTP/1.1\r\n";
        const auto append = +[](const char* name, const char* value, gpointer to) {
            *static_cast<std::string*>(to) += std::string(name) + ": " + value + "\r\n";
        };
        soup_message_headers_foreach(soup_server_message_get_request_headers(message), append, &text);
        const auto* body = soup_server_message_get_request_body(message);
        text += "\r\n" + std::string(body->data, static_cast<std::size_t>(body->length));
        self.requests.push_back(text);
        auto& connection = self.connections_.emplace_back(self, self.behaviour(text));
        connection.stream = GPtr<GIOStream>::take(soup_server_message_steal_connection(message));
        const auto& bytes = connection.answer.bytes;
        g_output_stream_write_all_async(g_io_stream_get_output_stream(connection.stream.get()), bytes.data(),
                                        bytes.size(), G_PRIORITY_DEFAULT, self.ending_.get(), onWritten,
                                        &connection);
    }
    static void onWritten(GObject* output, GAsyncResult* result, gpointer data) {
        auto& [service, answer, stream, stands, waited] = *static_cast<Connection*>(data);
        g_output_stream_write_all_finish(G_OUTPUT_STREAM(output), result, nullptr, nullptr);
        stands = answer.end == End::stands;
        if (stands) {
            send(*static_cast<Connection*>(data), service.added_);
            g_input_stream_read_async(g_io_stream_get_input_stream(stream.get()), &waited, 1,
                                      G_PRIORITY_DEFAULT, service.ending_.get(), forget, data);
            return;
        }
        if (answer.end == End::resets) {
            auto* raw = G_SOCKET(g_object_get_data(G_OBJECT(stream.get()), "GSocket"));
            const linger dropped = {1, 0};
            setsockopt(g_socket_get_fd(raw), SOL_SOCKET, SO_LINGER, &dropped, sizeof dropped);
            g_socket_close(raw, nullptr);
        }
        // Never at once: the goodbye waits for room that only the client, on this loop too, can make.
        g_io_stream_close_async(stream.get(), G_PRIORITY_DEFAULT, service.ending_.get(), forget, data);
    }
    static void forget(GObject*, GAsyncResult*, gpointer data) {
        static_cast<Connection*>(data)->service.connections_.remove_if(
            [data](const auto& each) { return &each == data; });
    }
    static void send(const Connection& connection, std::string_view bytes) {
        g_output_stream_write_all(g_io_stream_get_output_stream(connection.stream.get()), bytes.data(),
                                  bytes.size(), nullptr, connection.service.ending_.get(), nullptr);
    }

    Demo::Certificate certificate_ = Demo::Certificate::make();
    GPtr<GCancellable> ending_ = GPtr<GCancellable>::take(g_cancellable_new());
    GPtr<SoupServer> server_ = GPtr<SoupServer>::take(soup_server_new(nullptr, nullptr));
    std::string added_;
    std::list<Connection> connections_;
};
