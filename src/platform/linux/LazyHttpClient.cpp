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
    co_return co_await client_->send(std::move(request), std::move(stop));
}

void LazyHttpClient::end() {
    make_ = nullptr;
    client_.reset();
}
