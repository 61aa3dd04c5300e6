#include "web/NavigationPolicy.h"

#include <vector>

namespace {

std::vector<std::string_view> pieces(std::string_view path) {
    std::vector<std::string_view> result;
    while (!path.empty()) {
        const auto slash = path.find('/');
        if (const auto piece = path.substr(0, slash); !piece.empty())
            result.push_back(piece);
        if (slash == std::string_view::npos)
            break;
        path.remove_prefix(slash + 1);
    }
    return result;
}

/// In characters, not bytes: every byte of UTF-8 that does not continue a character begins one.
std::size_t characters(std::string_view text) {
    std::size_t count = 0;
    for (const auto byte : text)
        count += (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U ? 1 : 0;
    return count;
}

} // namespace

namespace NavigationDecision {

bool isSignIn(std::string_view path) {
    const auto parts = pieces(path);
    if (parts.size() == 1)
        return parts[0] == "login";
    return parts.size() == 2 && parts[1] == "login" && characters(parts[0]) == 2;
}

Verdict decide(const NavigationAction& action, std::string_view serviceHost) {
    if (action.performsDownload)
        return Verdict::download;
    if (action.url.empty())
        return Verdict::allow;
    const auto url = Url::parse(action.url);
    if (!url || !url->host())
        return Verdict::allow;
    if (url->host()->ends_with(serviceHost))
        return isSignIn(url->path()) ? Verdict::signedOut : Verdict::allow;
    if (url->scheme() == "http" || url->scheme() == "https")
        return Verdict::openInBrowser;
    return Verdict::allow;
}

} // namespace NavigationDecision
