#pragma once

#include "demo/Certificate.h"
#include "platform/Counted.h"
#include "platform/Url.h"
#include "platform/linux/GAsync.h"

#include <libsoup/soup.h>

#include <functional>
#include <set>
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
        breaks, ///< closes without a goodbye
        stands  ///< is left to the client, and gets what is added
    };
    struct Answer {
        std::string bytes;
        End end = End::closes;
    };

    explicit MisbehavingService(const Answer& answer) {
        behave(answer);
        soup_server_set_tls_certificate(server_.get(), certificate_.tls.get());
        soup_server_add_handler(server_.get(), nullptr, onRequest, this, nullptr);
        constexpr auto only =
            static_cast<SoupServerListenOptions>(SOUP_SERVER_LISTEN_HTTPS | SOUP_SERVER_LISTEN_IPV4_ONLY);
        g_assert_true(soup_server_listen_local(server_.get(), 0, only, nullptr));
        auto* const uris = soup_server_get_uris(server_.get());
        origin = *Url::parse(GText(g_uri_to_string(static_cast<GUri*>(uris->data))).get());
        g_slist_free_full(uris, [](gpointer uri) { g_uri_unref(static_cast<GUri*>(uri)); });
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
        for (auto* output : standing_)
            send(output, bytes);
    }
    bool isConnected() const { return connected_ > 0; }
    Url at(std::string_view path) const { return origin.appendingPath(path); }
    const std::string& certificate() const { return certificate_.pem; }

    Url origin = *Url::parse("");
    std::function<Answer(const std::string& request)> behaviour; ///< for the requests from now on
    std::vector<std::string> requests; ///< each from its first line to the end of its body

private:
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
        spawn(self.serve(GPtr<GIOStream>::take(soup_server_message_steal_connection(message)),
                         self.behaviour(text)));
    }
    Task<> serve(GPtr<GIOStream> stream, Answer answer) {
        const Counted connected(connected_);
        auto* const output = g_io_stream_get_output_stream(stream.get());
        GAsync writing;
        g_output_stream_write_all_async(output, answer.bytes.data(), answer.bytes.size(), G_PRIORITY_DEFAULT,
                                        ending_.get(), GAsync::ready, &writing);
        co_await writing;
        if (answer.end == End::stands) {
            send(output, added_);
            standing_.insert(output);
            char none = 0;
            GAsync reading;
            g_input_stream_read_async(g_io_stream_get_input_stream(stream.get()), &none, 1,
                                      G_PRIORITY_DEFAULT, ending_.get(), GAsync::ready, &reading);
            co_await reading;
            standing_.erase(output);
        } else if (answer.end == End::breaks) {
            g_socket_close(G_SOCKET(g_object_get_data(G_OBJECT(stream.get()), "GSocket")), nullptr);
        }
        // Never at once: the goodbye waits for room that only the client, on this loop too, can make.
        GAsync closing;
        g_io_stream_close_async(stream.get(), G_PRIORITY_DEFAULT, ending_.get(), GAsync::ready, &closing);
        co_await closing;
    }
    void send(GOutputStream* output, std::string_view bytes) const {
        g_output_stream_write_all(output, bytes.data(), bytes.size(), nullptr, ending_.get(), nullptr);
    }

    Demo::Certificate certificate_ = Demo::Certificate::make();
    GPtr<GCancellable> ending_ = GPtr<GCancellable>::take(g_cancellable_new());
    GPtr<SoupServer> server_ = GPtr<SoupServer>::take(soup_server_new(nullptr, nullptr));
    std::string added_;
    std::set<GOutputStream*> standing_;
    int connected_ = 0;
};
