#pragma once

#include "platform/Url.h"
#include "platform/linux/GPtr.h"
#include "platform/linux/TemporaryFolder.h"

#include <libsoup/soup.h>

#include <algorithm>
#include <map>
#include <vector>

/// A new folder for the files of an engine or of a server. It stays until the program ends: the engine's
/// network process lives on between two engines and does not survive the removal of a folder that it has
/// used.
inline std::filesystem::path newFolder() {
    static const TemporaryFolder all("engines");
    static int count = 0;
    auto folder = all.path() / std::to_string(count++);
    std::filesystem::create_directory(folder);
    return folder;
}

/// A PEM file with a new certificate and its key: for `names` ("DNS:localhost,IP:127.0.0.1"), issued by the
/// one in the file `issuer` or else by itself.
inline std::filesystem::path newCertificate(const std::string& names,
                                            const std::filesystem::path& issuer = {}) {
    auto file = newFolder() / "certificate.pem";
    const auto subject = "/CN=" + file.parent_path().filename().string(); // no two may be the same
    const auto by = issuer.empty() ? "" : " -CA " + issuer.string() + " -CAkey " + issuer.string();
    const auto command =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -noenc -days 1 -subj " + subject +
        " -addext subjectAltName=" + names + by + " -keyout " + file.string() + " -out " + file.string();
    if (std::system((command + " 2>/dev/null").c_str()) != 0)
        throw std::runtime_error("no certificate: " + command);
    return file;
}

/// An https server on the loopback interface that serves a few pages held in memory, from the test's own main
/// loop.
class PageServer {
public:
    struct Page {
        std::string body = {};
        std::string type = "text/html";
        unsigned status = SOUP_STATUS_OK; ///< 0 when no answer ever comes
        std::map<std::string, std::string> headers = {};
    };

    explicit PageServer(const std::filesystem::path& certificate) {
        const auto own =
            GPtr<GTlsCertificate>::take(g_tls_certificate_new_from_file(certificate.c_str(), nullptr));
        soup_server_set_tls_certificate(server_.get(), own.get());
        soup_server_add_handler(server_.get(), nullptr, answer, this, nullptr);
        g_assert_true(soup_server_listen_local(server_.get(), 0, SOUP_SERVER_LISTEN_HTTPS, nullptr));
        auto* const uris = soup_server_get_uris(server_.get());
        port_ = std::to_string(g_uri_get_port(static_cast<GUri*>(uris->data)));
        g_slist_free_full(uris, [](gpointer uri) { g_uri_unref(static_cast<GUri*>(uri)); });
    }
    ~PageServer() { soup_server_disconnect(server_.get()); }

    /// `host` may be another name of this machine.
    Url url(const std::string& path = "", const std::string& host = "localhost") const {
        return *Url::parse("https://" + host + ":" + port_ + path);
    }
    bool wasAsked(const std::string& path) const {
        return std::ranges::find(requests, path) != requests.end();
    }

    std::map<std::string, Page> pages;
    std::vector<std::string> requests; ///< the paths, in the order in which they were asked for

private:
    static void answer(SoupServer*, SoupServerMessage* message, const char* path, GHashTable*,
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

    GPtr<SoupServer> server_ = GPtr<SoupServer>::take(soup_server_new(nullptr, nullptr));
    std::string port_;
};
