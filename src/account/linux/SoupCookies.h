#pragma once

#include "platform/CookieJar.h"

#include <libsoup/soup.h>

#include <memory>

struct SoupCookieFree {
    void operator()(SoupCookie* cookie) const { soup_cookie_free(cookie); }
};
using SoupCookiePtr = std::unique_ptr<SoupCookie, SoupCookieFree>;

/// The cookie as the logic knows it. An expiry keeps whole seconds, in which cookies are written and stored;
/// one beyond the year 2262, where the system's clock ends, becomes that end.
Cookie fromSoup(SoupCookie* cookie);

/// The cookie as libsoup knows it. It has no unspecified same-site policy: that becomes lax, which is what
/// browsers take it for.
SoupCookiePtr toSoup(const Cookie& cookie);
