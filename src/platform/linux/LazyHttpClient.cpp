#include "platform/linux/LazyHttpClient.h"

#include "platform/Error.h"

#include <glib.h>

#include <cerrno>

LazyHttpClient::LazyHttpClient(Maker make) : make_(std::move(make)) {}

Task<HttpReply> LazyHttpClient::send(HttpRequest request, std::stop_token stop) {
    if (!make_)
        throw TransportError(TransportError::Reason::cancelled, g_strerror(ECANCELED));
    if (!client_)
        client_ = make_();
    auto sending = client_->send(std::move(request), std::move(stop));
    co_return co_await std::move(sending);
}

void LazyHttpClient::end() {
    make_ = nullptr;
    client_.reset();
}
