#pragma once

#include "platform/HttpClient.h"
#include "platform/linux/GPtr.h"

#include <libsoup/soup.h>

#include <chrono>
#include <filesystem>
#include <optional>

class DurableCookieJar;

/// The HTTP client over libsoup 3, on the main loop. It asks https addresses only.
///
/// Certificates are checked against the system's trust store, or, where `trusted` names a PEM file, against
/// that file alone. Replies are never cached. A redirection is followed with the method that the fetch
/// standard (HTTP-redirect fetch) gives it: 307 and 308 repeat the request, body included, the others turn it
/// into a GET.
///
/// At its end every request that is still open fails as cancelled before the destructor returns, so nothing
/// that waits for an answer is left behind; the destructor runs the main context for as long as that takes.
class SoupHttpClient : public HttpClient {
public:
    /// As many as the fetch standard allows.
    static constexpr int maximumRedirections = 20;

    /// Throws Error when `trusted` cannot be used. The jar has to outlive the client.
    SoupHttpClient(DurableCookieJar& jar, const std::optional<std::filesystem::path>& trusted);
    ~SoupHttpClient() override;
    SoupHttpClient(const SoupHttpClient&) = delete;
    SoupHttpClient& operator=(const SoupHttpClient&) = delete;

    Task<HttpReply> send(HttpRequest request, std::stop_token stop) override;

private:
    Task<HttpReply> ask(GPtr<SoupMessage> message, std::chrono::milliseconds timeout, std::stop_token stop);

    DurableCookieJar& jar_;
    GPtr<SoupSession> session_;
    std::stop_source ending_;
    int open_ = 0;
};
