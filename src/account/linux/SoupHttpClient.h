#pragma once

#include "platform/HttpClient.h"
#include "platform/linux/GPtr.h"

#include <libsoup/soup.h>

#include <filesystem>
#include <optional>

class SoupCookieJar;

/// The HTTP client over libsoup 3, on the main loop.
///
/// Certificates are checked against the system's trust store, or, where `trusted` names a PEM file, against that file
/// alone. Replies are never cached. At its end every request that is still open fails as cancelled before the
/// destructor returns, so nothing that waits for an answer is left behind.
class SoupHttpClient : public HttpClient {
public:
    /// Throws Error when `trusted` cannot be used. The jar has to outlive the client.
    SoupHttpClient(SoupCookieJar& jar, const std::optional<std::filesystem::path>& trusted);
    ~SoupHttpClient() override;

    Task<HttpReply> send(HttpRequest request, std::stop_token stop) override;

private:
    GPtr<SoupSession> session_;
    GPtr<GCancellable> ending_;
    int open_ = 0;
};
