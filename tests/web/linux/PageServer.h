#pragma once

#include "platform/Url.h"
#include "platform/linux/GPtr.h"

#include <libsoup/soup.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

/// An https server on the loopback interface that serves a few pages held in memory, from the test's own main
/// loop.
class PageServer {
public:
    struct Page {
        Page(std::string givenBody = {}, std::string givenType = "text/html", unsigned givenStatus = 200,
             std::string givenLocation = {}, std::map<std::string, std::string> givenHeaders = {},
             bool breaks = false)
            : body(std::move(givenBody)),
              type(std::move(givenType)),
              status(givenStatus),
              location(std::move(givenLocation)),
              headers(std::move(givenHeaders)),
              breaksOff(breaks) {}

        std::string body;
        std::string type;
        unsigned status;
        std::string location; ///< where a redirection leads
        std::map<std::string, std::string> headers;
        bool breaksOff; ///< the connection goes when half of it has been sent
    };
    /// What was asked for, in its order.
    struct Request {
        std::string path;
        std::string userAgent;
        std::string cookies;
    };

    explicit PageServer(GTlsCertificate* certificate);
    ~PageServer();

    /// "https://localhost:…", where the server has its certificate for; `host` may be another name of the
    /// machine.
    Url origin(const std::string& host = "localhost") const;
    Url url(const std::string& path, const std::string& host = "localhost") const;
    bool wasAsked(const std::string& path) const;

    std::map<std::string, Page> pages;
    std::string silentPath; ///< a request for it is never answered
    std::vector<Request> requests;

private:
    static void answer(SoupServer*, SoupServerMessage* message, const char* path, GHashTable*, gpointer self);

    GPtr<SoupServer> server_;
    guint port_ = 0;
};
