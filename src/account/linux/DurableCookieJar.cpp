#include "account/linux/DurableCookieJar.h"

#include "account/linux/SoupCookies.h"
#include "platform/Error.h"
#include "platform/Json.h"
#include "platform/WholeNumber.h"
#include "platform/linux/DurableFile.h"

#include <map>
#include <stdexcept>
#include <utility>

namespace {

using std::chrono::seconds;
using std::chrono::system_clock;

constexpr int formatVersion = 1;
constexpr auto uriFlags = static_cast<GUriFlags>(SOUP_HTTP_URI_FLAGS);

/// The names of the same-site policies in the file (RFC 6265bis, section 4.1.2.7).
constexpr std::pair<Cookie::SameSite, const char*> policyNames[] = {
    {Cookie::SameSite::none, "None"}, {Cookie::SameSite::lax, "Lax"}, {Cookie::SameSite::strict, "Strict"}};

std::vector<SoupCookiePtr> take(GSList* cookies) {
    std::vector<SoupCookiePtr> result;
    for (const auto* item = cookies; item; item = item->next)
        result.emplace_back(static_cast<SoupCookie*>(item->data));
    g_slist_free(cookies);
    return result;
}

Json toJson(const Cookie& cookie) {
    Json entry = {{"name", cookie.name},
                  {"value", cookie.value},
                  {"domain", cookie.domain},
                  {"path", cookie.path},
                  {"expires", std::chrono::floor<seconds>(*cookie.expires).time_since_epoch().count()},
                  {"secure", cookie.secure},
                  {"httpOnly", cookie.httpOnly}};
    for (const auto& [policy, name] : policyNames)
        if (policy == cookie.sameSite)
            entry["sameSite"] = name;
    return entry;
}

Cookie::SameSite policyOf(const Json& entry) {
    const auto found = entry.find("sameSite");
    if (found == entry.end())
        return Cookie::SameSite::unspecified;
    for (const auto& [policy, name] : policyNames)
        if (*found == name)
            return policy;
    throw std::invalid_argument("no same-site policy");
}

/// Throws std::exception where the entry is none that `toJson` makes.
Cookie fromJson(const Json& entry) {
    constexpr auto last = std::chrono::floor<seconds>(system_clock::time_point::max());
    Cookie cookie;
    cookie.name = entry.at("name").get<std::string>();
    cookie.value = entry.at("value").get<std::string>();
    cookie.domain = entry.at("domain").get<std::string>();
    cookie.path = entry.at("path").get<std::string>();
    if (cookie.domain.empty())
        throw std::invalid_argument("no cookie");
    const auto expires = wholeNumber<std::int64_t>(entry.at("expires"));
    if (expires < 0 || seconds(expires) > last.time_since_epoch())
        throw std::invalid_argument("no time");
    cookie.expires = system_clock::time_point(seconds(expires));
    cookie.secure = entry.at("secure").get<bool>();
    cookie.httpOnly = entry.at("httpOnly").get<bool>();
    cookie.sameSite = policyOf(entry);
    return cookie;
}

std::vector<Cookie> parse(const std::string& content) {
    const auto stored = Json::parse(content);
    if (wholeNumber<int>(stored.at("version")) != formatVersion)
        throw std::invalid_argument("a format of another time");
    std::vector<Cookie> cookies;
    for (const auto& entry : stored.at("cookies"))
        cookies.push_back(fromJson(entry));
    return cookies;
}

/// The file's text and what it means; none where there is nothing of use. Throws Error when something useless
/// stays.
std::optional<std::pair<std::string, std::vector<Cookie>>> readOrSetAside(const std::filesystem::path& file) {
    try {
        auto text = DurableFile::read(file);
        if (!text)
            return std::nullopt;
        auto cookies = parse(*text);
        return std::pair(std::move(*text), std::move(cookies));
    } catch (const std::exception&) {
        // A parser quotes what it does not understand, which may be a secret: none of it goes to the log.
        g_warning("The file of cookies is unusable and is set aside");
    }
    DurableFile::setAside(file);
    return std::nullopt;
}

void noteChange(SoupCookieJar*, SoupCookie*, SoupCookie*, gpointer unsaved) {
    *static_cast<bool*>(unsaved) = true;
}

} // namespace

DurableCookieJar::DurableCookieJar(std::filesystem::path file)
    : file_(std::move(file)), jar_(GPtr<SoupCookieJar>::take(soup_cookie_jar_new())) {
    soup_cookie_jar_set_accept_policy(jar(), SOUP_COOKIE_JAR_ACCEPT_ALWAYS);
    load();
    changed_ = SignalConnection(
        jar(), g_signal_connect(jar(), "changed", G_CALLBACK(noteChange), static_cast<gpointer>(&unsaved_)));
}

DurableCookieJar::~DurableCookieJar() {
    save();
}

std::vector<Cookie> DurableCookieJar::cookiesFor(const Url& url) const {
    const GUriPtr uri(g_uri_parse(url.text().c_str(), uriFlags, nullptr));
    std::vector<Cookie> result;
    if (!uri)
        return result;
    for (const auto& cookie : take(soup_cookie_jar_get_cookie_list(jar(), uri.get(), TRUE)))
        result.push_back(fromSoup(cookie.get()));
    return result;
}

void DurableCookieJar::replace(const Cookie& cookie) {
    for (const auto& kept : take(soup_cookie_jar_all_cookies(jar())))
        if (fromSoup(kept.get()).isSameAs(cookie))
            soup_cookie_jar_add_cookie(jar(), toSoup(cookie).release());
    save();
}

void DurableCookieJar::remove(const Cookie& cookie) {
    bool removed = false;
    for (const auto& kept : take(soup_cookie_jar_all_cookies(jar()))) {
        if (fromSoup(kept.get()).isSameAs(cookie)) {
            soup_cookie_jar_delete_cookie(jar(), kept.get());
            removed = true;
        }
    }
    save();
    if (!removed || !unsaved_)
        return;
    try {
        DurableFile::remove(file_);
        written_.reset();
    } catch (const Error& failure) {
        g_warning("The cookies stay on disk: %s", failure.what());
    }
}

void DurableCookieJar::save() {
    if (!unsaved_)
        return;
    try {
        auto next = content();
        if (!next) {
            DurableFile::remove(file_);
        } else if (next != written_) {
            DurableFile::makePrivateFolder(file_.parent_path());
            DurableFile::write(file_, *next);
        }
        written_ = std::move(next);
        unsaved_ = false;
    } catch (const Error& failure) {
        g_warning("The cookies cannot be kept on disk: %s", failure.what());
    }
}

std::optional<std::string> DurableCookieJar::content() const {
    std::vector<Cookie> cookies;
    const auto now = system_clock::now();
    for (const auto& cookie : take(soup_cookie_jar_all_cookies(jar())))
        if (auto value = fromSoup(cookie.get()); value.expires && *value.expires > now)
            cookies.push_back(std::move(value));
    if (cookies.empty())
        return std::nullopt;
    // libsoup lists from a hash table, newest first within a domain. Oldest first is how it has to get them
    // back (RFC 6265, section 5.4); a fixed order of the domains keeps an unchanged list the same text.
    std::multimap<std::string, Json> byDomain;
    for (auto cookie = cookies.rbegin(); cookie != cookies.rend(); ++cookie)
        byDomain.emplace(cookie->domain, toJson(*cookie));
    Json entries = Json::array();
    for (auto& [domain, entry] : byDomain)
        entries.push_back(std::move(entry));
    return Json{{"version", formatVersion}, {"cookies", std::move(entries)}}.dump(
        -1, ' ', false, Json::error_handler_t::replace);
}

void DurableCookieJar::load() {
    try {
        auto stored = readOrSetAside(file_);
        if (!stored)
            return;
        for (const auto& cookie : stored->second)
            soup_cookie_jar_add_cookie(jar(), toSoup(cookie).release());
        written_ = std::move(stored->first);
    } catch (const Error& failure) {
        g_warning("The unusable file of cookies stays where it is: %s", failure.what());
    }
}
