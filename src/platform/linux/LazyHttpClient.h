#pragma once

#include "platform/HttpClient.h"

#include <functional>
#include <memory>

/// An HTTP client that is made by its first request, so that a program that asks nothing loads nothing of
/// TLS, and that its owner can end before what its requests wait for goes.
class LazyHttpClient : public HttpClient {
public:
    /// Makes the real client. May throw Error, which the request throws then; the next one tries again.
    using Maker = std::function<std::unique_ptr<HttpClient>()>;

    explicit LazyHttpClient(Maker make);

    Task<HttpReply> send(HttpRequest request, std::stop_token stop) override;
    /// Ends every open request as cancelled before it returns; later ones end the same way.
    void end();

private:
    Maker make_; ///< none from the end on
    std::unique_ptr<HttpClient> client_;
};
