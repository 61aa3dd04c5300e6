#include "demo/HttpServer.h"

#include <stdexcept>

namespace Demo {

namespace {

std::map<std::string, std::string> entries(GHashTable* table) {
    std::map<std::string, std::string> result;
    if (!table)
        return result;
    GHashTableIter iterator;
    gpointer key = nullptr;
    gpointer value = nullptr;
    g_hash_table_iter_init(&iterator, table);
    while (g_hash_table_iter_next(&iterator, &key, &value))
        result[static_cast<const char*>(key)] = static_cast<const char*>(value);
    return result;
}

std::map<std::string, std::string> headersOf(SoupServerMessage* message) {
    std::map<std::string, std::string> result;
    SoupMessageHeadersIter iterator;
    const char* name = nullptr;
    const char* value = nullptr;
    soup_message_headers_iter_init(&iterator, soup_server_message_get_request_headers(message));
    while (soup_message_headers_iter_next(&iterator, &name, &value))
        result[GText(g_ascii_strdown(name, -1)).get()] = value;
    return result;
}

std::string bodyOf(SoupServerMessage* message) {
    const GBytesPtr bytes(soup_message_body_flatten(soup_server_message_get_request_body(message)));
    gsize size = 0;
    const auto* data = static_cast<const char*>(g_bytes_get_data(bytes.get(), &size));
    return data ? std::string(data, size) : std::string();
}

void send(SoupServerMessage* message, const Answer& answer) {
    SoupMessageHeaders* headers = soup_server_message_get_response_headers(message);
    for (const auto& [name, value] : answer.headers)
        soup_message_headers_append(headers, name.c_str(), value.c_str());
    soup_server_message_set_status(message, answer.status, nullptr);
    if (!answer.contentType.empty())
        soup_server_message_set_response(message, answer.contentType.c_str(), SOUP_MEMORY_COPY,
                                         answer.body.data(), answer.body.size());
}

void refuseLongBody(SoupServerMessage* message) {
    SoupMessageBody* body = soup_server_message_get_request_body(message);
    soup_message_body_set_accumulate(body, FALSE);
    soup_message_body_truncate(body);
    send(message, Answer::error(413, "The request is too long."));
}

} // namespace

HttpServer::HttpServer(const Certificate& certificate, std::uint16_t port, Handler handler,
                       LongestBody longestBody)
    : server_(GPtr<SoupServer>::take(
          soup_server_new("tls-certificate", certificate.tls.get(), "server-header", nullptr, nullptr))),
      handler_(std::move(handler)),
      longestBody_(std::move(longestBody)) {
    soup_server_add_early_handler(server_.get(), nullptr, limitBody, this, nullptr);
    soup_server_add_handler(server_.get(), nullptr, serve, this, nullptr);
    GError* error = nullptr;
    const auto options =
        static_cast<SoupServerListenOptions>(SOUP_SERVER_LISTEN_HTTPS | SOUP_SERVER_LISTEN_IPV4_ONLY);
    if (!soup_server_listen_local(server_.get(), port, options, &error))
        throw std::runtime_error(std::string("cannot listen on 127.0.0.1: ") + GErrorPtr(error)->message);
}

HttpServer::~HttpServer() {
    soup_server_disconnect(server_.get());
}

std::string HttpServer::origin() const {
    GSList* uris = soup_server_get_uris(server_.get());
    const int port = g_uri_get_port(static_cast<GUri*>(uris->data));
    g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
    return "https://127.0.0.1:" + std::to_string(port);
}

void HttpServer::limitBody(SoupServer*, SoupServerMessage* message, const char* path, GHashTable*,
                           gpointer self) {
    const auto announced =
        soup_message_headers_get_content_length(soup_server_message_get_request_headers(message));
    if (static_cast<std::size_t>(announced) > static_cast<HttpServer*>(self)->longestBody_(path))
        refuseLongBody(message);
    else
        g_signal_connect(message, "got-chunk", G_CALLBACK(countChunk), self);
}

void HttpServer::countChunk(SoupServerMessage* message, GBytes*, gpointer self) {
    const std::string path = g_uri_get_path(soup_server_message_get_uri(message));
    const auto length = soup_server_message_get_request_body(message)->length;
    if (static_cast<std::size_t>(length) > static_cast<HttpServer*>(self)->longestBody_(path))
        refuseLongBody(message);
}

void HttpServer::serve(SoupServer*, SoupServerMessage* message, const char* path, GHashTable* query,
                       gpointer self) {
    Request request;
    request.method = soup_server_message_get_method(message);
    request.path = path;
    request.query = entries(query);
    request.headers = headersOf(message);
    request.body = bodyOf(message);
    send(message, static_cast<HttpServer*>(self)->handler_(request));
}

} // namespace Demo
