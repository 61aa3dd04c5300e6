#pragma once

#include "platform/Task.h"
#include "platform/Url.h"

#include <chrono>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

struct HttpRequest {
    /// Whether an answer kept from earlier may be used instead of asking again.
    enum class CachePolicy { protocolDefault, reloadIgnoringLocalData };

    explicit HttpRequest(Url address) : url(std::move(address)) {}

    Url url;
    std::string method = "GET";
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    /// How long nothing may arrive before the request fails with a time-out.
    std::chrono::milliseconds timeout = std::chrono::seconds(60);
    CachePolicy cachePolicy = CachePolicy::protocolDefault;
};

struct HttpReply {
    /// None when what answered does not speak HTTP.
    std::optional<int> status;
    std::string body;
};

/// An HTTP client that sends the cookies of one jar with each request and keeps every `Set-Cookie` of each
/// reply in it, error replies included, before the reply is handed out.
class HttpClient {
public:
    virtual ~HttpClient() = default;

    /// Sends the request and gives the whole reply. Throws TransportError when there is none, with reason
    /// `cancelled` when `stop` was requested or the client ends first. Redirections are followed, to https
    /// only.
    virtual Task<HttpReply> send(HttpRequest request, std::stop_token stop) = 0;
};
