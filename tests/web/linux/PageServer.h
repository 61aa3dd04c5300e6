#pragma once

#include "platform/Url.h"
#include "platform/linux/GPtr.h"

#include <libsoup/soup.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

/// A new folder for the files of an engine or of a server. It stays until the program ends: the engine's
/// network process lives on between two engines and does not survive the removal of a folder that it has
/// used.
std::filesystem::path newFolder();

/// A PEM file with a new certificate and its key: for `names` ("DNS:localhost,IP:127.0.0.1"), issued by the
/// one in the file `issuer` or else by itself.
std::filesystem::path newCertificate(const std::string& names, const std::filesystem::path& issuer = {});

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

    explicit PageServer(const std::filesystem::path& certificate);
    ~PageServer() { soup_server_disconnect(server_.get()); }

    /// `host` may be another name of this machine.
    Url url(const std::string& path = "", const std::string& host = "localhost") const;
    bool wasAsked(const std::string& path) const;

    std::map<std::string, Page> pages;
    std::vector<std::string> requests; ///< the paths, in the order in which they were asked for

private:
    static void answer(SoupServer*, SoupServerMessage* message, const char* path, GHashTable*, gpointer self);

    GPtr<SoupServer> server_ = GPtr<SoupServer>::take(soup_server_new(nullptr, nullptr));
    std::string port_;
};
