#pragma once

#include "platform/Url.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

/// One HTTP cookie (RFC 6265). The domain starts with a dot when subdomains are meant too.
struct Cookie {
    enum class SameSite { unspecified, none, lax, strict };

    std::string name;
    std::string value;
    std::string domain;
    std::string path = "/";
    /// None for a cookie that ends with the program.
    std::optional<std::chrono::system_clock::time_point> expires;
    bool secure = false;
    bool httpOnly = false;
    SameSite sameSite = SameSite::unspecified;

    bool operator==(const Cookie&) const = default;
    /// Whether one of the two takes the other's place.
    bool isSameAs(const Cookie& other) const {
        return name == other.name && domain == other.domain && path == other.path;
    }
};

/// The client's cookies. They accept whatever the service sets and outlive the process, save those without an
/// expiry.
class CookieJar {
public:
    virtual ~CookieJar() = default;

    /// The cookies that a request to `url` would carry, the longest paths first.
    virtual std::vector<Cookie> cookiesFor(const Url& url) const = 0;
    /// Puts the cookie in the place of the one of its name, domain and path, here and on disk; where there is
    /// none, nothing happens.
    virtual void replace(const Cookie& cookie) = 0;
    /// Removes the cookie of that name, domain and path, here and on disk.
    virtual void remove(const Cookie& cookie) = 0;
};
