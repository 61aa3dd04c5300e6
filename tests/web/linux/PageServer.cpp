#include "PageServer.h"

#include "platform/linux/TemporaryFolder.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

std::filesystem::path newFolder() {
    static const TemporaryFolder all("engines");
    static int count = 0;
    auto folder = all.path() / std::to_string(count++);
    std::filesystem::create_directory(folder);
    return folder;
}

std::filesystem::path newCertificate(const std::string& names, const std::filesystem::path& issuer) {
    auto file = newFolder() / "certificate.pem";
    const auto name = file.string();
    const auto subject = "/CN=" + file.parent_path().filename().string(); // no two may be the same
    const auto by = issuer.empty() ? "" : " -CA " + issuer.string() + " -CAkey " + issuer.string();
    const auto command =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -noenc -days 1 -subj " + subject +
        " -addext subjectAltName=" + names + by + " -keyout " + name + " -out " + name;
    if (std::system((command + " 2>/dev/null").c_str()) != 0)
        throw std::runtime_error("no certificate: " + command);
    return file;
}

PageServer::PageServer(const std::filesystem::path& certificate) {
    GError* error = nullptr;
    const auto own =
        GPtr<GTlsCertificate>::take(g_tls_certificate_new_from_file(certificate.c_str(), &error));
    if (own)
        soup_server_set_tls_certificate(server_.get(), own.get());
    soup_server_add_handler(server_.get(), nullptr, answer, this, nullptr);
    if (!own || !soup_server_listen_local(server_.get(), 0, SOUP_SERVER_LISTEN_HTTPS, &error))
        throw std::runtime_error(GErrorPtr(error)->message);
    auto* const uris = soup_server_get_uris(server_.get());
    port_ = std::to_string(g_uri_get_port(static_cast<GUri*>(uris->data)));
    g_slist_free_full(uris, [](gpointer uri) { g_uri_unref(static_cast<GUri*>(uri)); });
}

Url PageServer::url(const std::string& path, const std::string& host) const {
    return *Url::parse("https://" + host + ":" + port_ + path);
}

bool PageServer::wasAsked(const std::string& path) const {
    return std::ranges::find(requests, path) != requests.end();
}

void PageServer::answer(SoupServer*, SoupServerMessage* message, const char* path, GHashTable*,
                        gpointer self) {
    auto& server = *static_cast<PageServer*>(self);
    server.requests.emplace_back(path);
    const auto found = server.pages.find(path);
    const auto page = found == server.pages.end() ? Page{"", "text/html", 404} : found->second;
    if (page.status == 0) {
        soup_server_message_pause(message);
        return;
    }
    soup_server_message_set_status(message, page.status, nullptr);
    for (const auto& [name, value] : page.headers)
        soup_message_headers_append(soup_server_message_get_response_headers(message), name.c_str(),
                                    value.c_str());
    soup_server_message_set_response(message, page.type.c_str(), SOUP_MEMORY_COPY, page.body.data(),
                                     page.body.size());
}
