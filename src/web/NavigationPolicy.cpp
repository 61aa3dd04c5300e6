#include "web/NavigationPolicy.h"

#include <uriparser/Uri.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string>
#include <vector>

namespace {

bool isEscape(std::string_view text) {
    const auto isHexDigit = [](char digit) { return std::isxdigit(static_cast<unsigned char>(digit)) != 0; };
    return text.size() >= 3 && text[0] == '%' && isHexDigit(text[1]) && isHexDigit(text[2]);
}

void appendEscaped(std::string& result, char byte) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    result += '%';
    result += digits[value >> 4U];
    result += digits[value & 0xFU];
}

/// The text with everything escaped that RFC 3986 does not allow where it stands.
std::string escaped(std::string_view text) {
    constexpr std::string_view allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                                         "-._~:/?@!$&'()*+,;=";
    const auto authority = text.find("://");
    const auto authorityEnd = authority == std::string_view::npos
                                  ? 0
                                  : text.find_first_of("/?#", authority + std::string_view("://").size());
    const auto fragment = text.find('#');
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = text[i];
        const auto bracketOfHost = (byte == '[' || byte == ']') && i < authorityEnd;
        if (allowed.find(byte) != std::string_view::npos || bracketOfHost || i == fragment ||
            isEscape(text.substr(i)))
            result += byte;
        else
            appendEscaped(result, byte);
    }
    return result;
}

std::string unescaped(std::string text) {
    const auto* end = uriUnescapeInPlaceA(text.data());
    text.resize(static_cast<std::size_t>(end - text.data()));
    return text;
}

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

std::optional<Url> address(std::string_view text) {
    return Url::parse(escaped(text));
}

bool isSignIn(std::string_view path) {
    const auto parts = pieces(path);
    if (parts.size() == 1)
        return parts[0] == "login";
    return parts.size() == 2 && parts[1] == "login" && characters(parts[0]) == 2;
}

Handler handler(const Url& url) {
    constexpr std::string_view ofTheEngine[] = {"",     "http", "https", "about",
                                                "data", "blob", "file",  "javascript"};
    auto scheme = url.scheme();
    std::ranges::transform(scheme, scheme.begin(), [](unsigned char letter) { return std::tolower(letter); });
    if (std::ranges::find(ofTheEngine, scheme) != std::end(ofTheEngine))
        return Handler::engine;
    return scheme == "brisko" ? Handler::program : Handler::desktop;
}

Verdict decide(const NavigationAction& action, std::string_view serviceHost) {
    if (action.performsDownload)
        return Verdict::download;
    if (action.url.empty())
        return Verdict::allow;
    const auto url = address(action.url);
    if (!url || !url->host())
        return Verdict::allow;
    if (url->host()->ends_with(serviceHost))
        return isSignIn(unescaped(url->path())) ? Verdict::signedOut : Verdict::allow;
    if (url->scheme() == "http" || url->scheme() == "https")
        return Verdict::openInBrowser;
    return Verdict::allow;
}

} // namespace NavigationDecision
