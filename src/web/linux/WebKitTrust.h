#pragma once

#include "platform/Url.h"
#include "platform/linux/GPtr.h"

#include <webkit/webkit.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

/// The certificates that are trusted for one host on top of the system's: those that a PEM file holds, and
/// those that they vouch for.
///
/// The engine can only be told to accept one exact certificate for one exact host. So a certificate of the
/// file that is fit to be the server's own is accepted from the start, and any other is looked at when a load
/// has failed because of it. Whatever is accepted has passed the same checks as every certificate: chain,
/// name, time and purpose.
class WebKitTrust {
public:
    /// Throws Error when the file cannot be read or holds no certificate.
    WebKitTrust(GPtr<WebKitNetworkSession> session, const Url& origin,
                const std::optional<std::filesystem::path>& trusted);

    /// True when `presented`, because of which the load of `uri` failed, is trusted after all. The engine
    /// accepts it from then on, until its network process dies: then it has to be told again.
    bool admit(const char* uri, GTlsCertificate* presented);
    /// Does the same for what a page requests by itself: a request that fails is not repeated, but the next
    /// one succeeds.
    static void follow(const std::shared_ptr<WebKitTrust>& trust, WebKitWebResource* resource);
    /// True for a URL of the host for which the file is trusted.
    bool covers(const char* uri) const;

private:
    bool vouchesFor(GTlsCertificate* certificate) const;
    void accept(GTlsCertificate* certificate);

    GPtr<WebKitNetworkSession> session_;
    std::string host_;
    GPtr<GTlsDatabase> anchors_; ///< none without a file
};
