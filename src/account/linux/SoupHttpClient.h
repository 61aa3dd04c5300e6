#pragma once

#include "platform/HttpClient.h"
#include "platform/linux/GPtr.h"

#include <libsoup/soup.h>

#include <filesystem>
#include <optional>

class DurableCookieJar;

/// The HTTP client over libsoup 3, on the main loop.
///
/// Certificates are checked against the system's trust store, or, where `trusted` names a PEM file, against
/// that file alone. Replies are never cached, and one of more than `maximumBody` bytes fails. Compressed
/// replies come out plain.
///
/// At its end every request that is still open fails as cancelled before the destructor returns, so nothing
/// that waits for an answer is left behind; the destructor runs the main context for as long as that takes. A
/// task of `send` that has been started has to be awaited to its end.
class SoupHttpClient : public HttpClient {
public:
    /// Far beyond any reply of the service; it keeps an endless one from using up the memory.
    static constexpr std::size_t maximumBody = std::size_t(64) << 20;

    /// Throws Error when `trusted` cannot be used. The jar has to outlive the client.
    SoupHttpClient(DurableCookieJar& jar, const std::optional<std::filesystem::path>& trusted);
    ~SoupHttpClient() override;
    SoupHttpClient(const SoupHttpClient&) = delete;
    SoupHttpClient& operator=(const SoupHttpClient&) = delete;

    Task<HttpReply> send(HttpRequest request, std::stop_token stop) override;
    /// Ends every open request as cancelled before it returns, and every later one at once: what the destructor does,
    /// for an owner whose waiting tasks reach things that go before the client.
    void cancelAll();

private:
    class Exchange;

    DurableCookieJar& jar_;
    GPtr<SoupSession> session_;
    std::stop_source ending_;
    int open_ = 0;
};
