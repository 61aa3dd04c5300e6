#include "PageServer.h"

#include <algorithm>
#include <stdexcept>

namespace {

struct UrisFree {
    void operator()(GSList* uris) const {
        g_slist_free_full(uris, [](gpointer uri) { g_uri_unref(static_cast<GUri*>(uri)); });
    }
};

std::string header(SoupServerMessage* message, const char* name) {
    const char* const value =
        soup_message_headers_get_one(soup_server_message_get_request_headers(message), name);
    return value ? value : "";
}

/// Promises more than it sends, and hangs up once that has been written.
void breakOff(SoupServerMessage* message, const PageServer::Page& page) {
    auto* const headers = soup_server_message_get_response_headers(message);
    soup_message_headers_set_content_type(headers, page.type.c_str(), nullptr);
    soup_message_headers_set_content_length(headers, static_cast<goffset>(page.body.size()) * 2);
    soup_message_body_append(soup_server_message_get_response_body(message), SOUP_MEMORY_COPY,
                             page.body.data(), page.body.size());
    g_signal_connect(message, "wrote-body-data", G_CALLBACK(+[](SoupServerMessage* broken, guint, gpointer) {
                         g_socket_shutdown(soup_server_message_get_socket(broken), TRUE, TRUE, nullptr);
                     }),
                     nullptr);
}

} // namespace

PageServer::PageServer(GTlsCertificate* certificate)
    : server_(GPtr<SoupServer>::take(soup_server_new("server-header", "pages", nullptr))) {
    soup_server_set_tls_certificate(server_.get(), certificate);
    soup_server_add_handler(server_.get(), nullptr, answer, this, nullptr);
    GError* error = nullptr;
    if (!soup_server_listen_local(server_.get(), 0, SOUP_SERVER_LISTEN_HTTPS, &error))
        throw std::runtime_error(GErrorPtr(error)->message);
    const std::unique_ptr<GSList, UrisFree> uris(soup_server_get_uris(server_.get()));
    port_ = static_cast<guint>(g_uri_get_port(static_cast<GUri*>(uris->data)));
}

PageServer::~PageServer() {
    soup_server_disconnect(server_.get());
}

Url PageServer::origin(const std::string& host) const {
    return *Url::parse("https://" + host + ":" + std::to_string(port_));
}

Url PageServer::url(const std::string& path, const std::string& host) const {
    return *Url::parse(origin(host).text() + path);
}

bool PageServer::wasAsked(const std::string& path) const {
    return std::any_of(requests.begin(), requests.end(), [&](const auto& one) { return one.path == path; });
}

void PageServer::answer(SoupServer*, SoupServerMessage* message, const char* path, GHashTable*,
                        gpointer self) {
    auto& server = *static_cast<PageServer*>(self);
    server.requests.push_back({path, header(message, "User-Agent"), header(message, "Cookie")});
    if (path == server.silentPath) {
        soup_server_message_pause(message);
        return;
    }
    const auto found = server.pages.find(path);
    if (found == server.pages.end()) {
        soup_server_message_set_status(message, SOUP_STATUS_NOT_FOUND, nullptr);
        return;
    }
    const auto& page = found->second;
    soup_server_message_set_status(message, page.status, nullptr);
    if (!page.location.empty())
        soup_message_headers_replace(soup_server_message_get_response_headers(message), "Location",
                                     page.location.c_str());
    for (const auto& [name, value] : page.headers)
        soup_message_headers_append(soup_server_message_get_response_headers(message), name.c_str(),
                                    value.c_str());
    if (page.breaksOff) {
        breakOff(message, page);
        return;
    }
    soup_server_message_set_response(message, page.type.c_str(), SOUP_MEMORY_COPY, page.body.data(),
                                     page.body.size());
}
