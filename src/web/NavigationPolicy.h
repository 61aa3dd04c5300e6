#pragma once

#include "platform/Url.h"
#include "platform/WebView.h"

#include <optional>
#include <string_view>

/// Which navigations stay in the web view. Pure: the same action always gives the same decision.
namespace NavigationDecision {

enum class Verdict {
    allow,
    download,
    signedOut,     ///< the page went to the service's sign-in page: the shell takes over, nothing loads
    openInBrowser, ///< belongs in the default browser, nothing loads here
};

/// Whose business a URL is, by its scheme alone.
enum class Handler {
    engine,  ///< the web: pages, and what a page makes itself; also files, which are nobody's business
    program, ///< brisko's own links
    desktop, ///< mail, telephone, calendars: what a web engine cannot show
};
Handler handler(const Url& url);

/// The URL of a navigation. Engines write URLs by the WHATWG rules, which leave characters bare that RFC 3986
/// wants escaped ("[", "|", a "%" of its own): they are escaped here, for otherwise such a URL would look
/// like none and pass. None when it is no URL even so.
std::optional<Url> address(std::string_view text);

/// Whether the path, without escapes, is the service's sign-in page: "/login", or "/xx/login" with a language
/// of two characters.
bool isSignIn(std::string_view path);

/// The rules in their order: a download is one; a request without URL, a URL without host, and any page of
/// the service's host or of a host whose name ends with it is allowed, save the sign-in page; other http and
/// https pages open in the browser; whatever else there is, is allowed.
Verdict decide(const NavigationAction& action, std::string_view serviceHost);

} // namespace NavigationDecision
