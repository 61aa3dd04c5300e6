#include "account/linux/SoupCookies.h"

#include <algorithm>

namespace {

using std::chrono::seconds;
using std::chrono::system_clock;

constexpr int untilTheEnd = -1; ///< libsoup's maximum age of a cookie without an expiry

struct GDateTimeUnref {
    void operator()(GDateTime* time) const { g_date_time_unref(time); }
};
using GDateTimePtr = std::unique_ptr<GDateTime, GDateTimeUnref>;

std::string text(const char* value) {
    return value ? value : "";
}

Cookie::SameSite policyOf(SoupCookie* cookie) {
    switch (soup_cookie_get_same_site_policy(cookie)) {
    case SOUP_SAME_SITE_POLICY_NONE:
        return Cookie::SameSite::none;
    case SOUP_SAME_SITE_POLICY_LAX:
        return Cookie::SameSite::lax;
    case SOUP_SAME_SITE_POLICY_STRICT:
        return Cookie::SameSite::strict;
    }
    return Cookie::SameSite::unspecified;
}

SoupSameSitePolicy soupPolicy(Cookie::SameSite policy) {
    switch (policy) {
    case Cookie::SameSite::none:
        return SOUP_SAME_SITE_POLICY_NONE;
    case Cookie::SameSite::strict:
        return SOUP_SAME_SITE_POLICY_STRICT;
    case Cookie::SameSite::lax:
    case Cookie::SameSite::unspecified:
        break;
    }
    return SOUP_SAME_SITE_POLICY_LAX;
}

GDateTimePtr dateTime(system_clock::time_point time) {
    return GDateTimePtr(
        g_date_time_new_from_unix_utc(std::chrono::floor<seconds>(time).time_since_epoch().count()));
}

} // namespace

Cookie fromSoup(SoupCookie* cookie) {
    Cookie result;
    result.name = text(soup_cookie_get_name(cookie));
    result.value = text(soup_cookie_get_value(cookie));
    result.domain = text(soup_cookie_get_domain(cookie));
    result.path = text(soup_cookie_get_path(cookie));
    if (auto* expires = soup_cookie_get_expires(cookie)) {
        constexpr auto last = std::chrono::floor<seconds>(system_clock::time_point::max().time_since_epoch());
        result.expires = system_clock::time_point(std::min(seconds(g_date_time_to_unix(expires)), last));
    }
    result.secure = soup_cookie_get_secure(cookie);
    result.httpOnly = soup_cookie_get_http_only(cookie);
    result.sameSite = policyOf(cookie);
    return result;
}

SoupCookiePtr toSoup(const Cookie& cookie) {
    SoupCookiePtr result(soup_cookie_new(cookie.name.c_str(), cookie.value.c_str(), cookie.domain.c_str(),
                                         cookie.path.c_str(), untilTheEnd));
    if (cookie.expires)
        soup_cookie_set_expires(result.get(), dateTime(*cookie.expires).get());
    soup_cookie_set_secure(result.get(), cookie.secure);
    soup_cookie_set_http_only(result.get(), cookie.httpOnly);
    soup_cookie_set_same_site_policy(result.get(), soupPolicy(cookie.sameSite));
    return result;
}
