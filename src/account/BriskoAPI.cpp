#include "account/BriskoAPI.h"

#include "platform/Base64.h"

#include <algorithm>
#include <cctype>
#include <ostream>
#include <stdexcept>
#include <streambuf>

namespace {

constexpr int firstSuccess = 200;
constexpr int lastSuccess = 299;

/// The text under `key`, when `object` has one there.
std::optional<std::string> text(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_string())
        return std::nullopt;
    return found->get<std::string>();
}

/// The challenge that a reply's body holds; none when anything about it is unusable.
std::optional<BriskoAPI::Captcha> parseCaptcha(const std::string& body) {
    const auto reply = parseJson(body);
    if (!reply.is_object())
        return std::nullopt;
    auto token = text(reply, "token");
    const auto image = text(reply, "image");
    if (!token || !image)
        return std::nullopt;
    const auto comma = image->find(',');
    if (comma == std::string::npos)
        return std::nullopt;
    auto bytes = decodeBase64(std::string_view(*image).substr(comma + 1));
    if (!bytes)
        return std::nullopt;
    return BriskoAPI::Captcha{std::move(*token), std::move(*bytes)};
}

constexpr std::size_t longestEscape = 6; ///< "\u0007"
constexpr std::size_t punctuation = 6;   ///< around a name and a value

/// Writes into a text, up to its end.
class FixedBuffer : public std::streambuf {
public:
    explicit FixedBuffer(std::string& text) { setp(text.data(), text.data() + text.size()); }
    std::size_t size() const { return static_cast<std::size_t>(pptr() - pbase()); }
};

/// The body, an object of texts, as JSON. Some of what it held is secret, and none of it is needed any more.
/// Throws the encoder's own error for a text that is not UTF-8.
std::string encodeAndWipe(Json& body) {
    // A text that grows leaves its beginning wherever it has been.
    std::size_t room = 2;
    for (const auto& [name, member] : body.items())
        room += name.size() + longestEscape * member.get_ref<const std::string&>().size() + punctuation;
    std::string text(room, '\0');
    FixedBuffer buffer(text);
    std::ostream(&buffer) << body;
    text.resize(buffer.size());
    for (auto& member : body)
        SecretText::wipe(member.get_ref<std::string&>());
    SecretRoom::wipeStack();
    return text;
}

} // namespace

BriskoAPI::BriskoAPI(Url origin, HttpClient& session, CookieJar& storage, WebDataStore& webData,
                     WebAuthentication& webAuthentication)
    : origin_(std::move(origin)),
      session_(session),
      storage_(storage),
      webData_(webData),
      webAuthentication_(webAuthentication) {
    if (origin_.scheme() != "https" || !origin_.host() || origin_.text() != origin_.origin())
        throw std::invalid_argument("not an https origin: " + origin_.text());
}

std::optional<Url> BriskoAPI::parseOrigin(std::string_view text) {
    const auto url = Url::parse(text);
    if (!url || url->scheme() != "https" || !url->host())
        return std::nullopt;
    if (text != url->origin() && text != url->origin() + "/")
        return std::nullopt;
    auto origin = url->origin();
    std::transform(origin.begin(), origin.end(), origin.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return Url::parse(origin);
}

Task<Json> BriskoAPI::post(std::string path, Json body) {
    HttpRequest request(origin_.appendingPath(path));
    request.method = "POST";
    request.headers.emplace_back("Content-Type", "application/json");
    request.body = encodeAndWipe(body);
    const auto reply = co_await session_.send(std::move(request), std::stop_token());

    auto object = parseJson(reply.body);
    if (!object.is_object())
        object = Json::object();
    if (!reply.status)
        throw Failure("No response from brisko.");
    if (*reply.status < firstSuccess || *reply.status > lastSuccess) {
        if (auto error = text(object, "error"))
            throw Failure(std::move(*error));
        throw Failure("Something went wrong (" + std::to_string(*reply.status) + ").");
    }
    co_return object;
}

Task<> BriskoAPI::signIn(std::string username, SecretText password) {
    Json body = {{"username", std::move(username)}};
    body["password"] = password.view();
    co_await post("api/auth/login", std::move(body));
}

Task<> BriskoAPI::registerAccount(std::string username, SecretText password, std::string email,
                                  std::string captchaToken, std::string captchaAnswer) {
    Json body = {{"username", std::move(username)},
                 {"email", std::move(email)},
                 {"captchaToken", std::move(captchaToken)},
                 {"captchaAnswer", std::move(captchaAnswer)}};
    body["password"] = password.view();
    co_await post("api/auth/register", std::move(body));
}

Task<std::string> BriskoAPI::requestReset(std::string email) {
    Json body = {{"email", std::move(email)}};
    const auto reply = co_await post("api/auth/forgot", std::move(body));
    co_return text(reply, "message").value_or("If that address has an account, a reset link is on its way.");
}

Task<BriskoAPI::Captcha> BriskoAPI::captcha(std::stop_token stop) {
    HttpRequest request(origin_.appendingPath("api/auth/captcha"));
    request.cachePolicy = HttpRequest::CachePolicy::reloadIgnoringLocalData;
    const auto reply = co_await session_.send(std::move(request), std::move(stop));
    auto challenge = parseCaptcha(reply.body);
    if (!challenge)
        throw Failure("Could not load the verification image.");
    co_return std::move(*challenge);
}

Task<> BriskoAPI::signInWithGoogle() {
    auto start = origin_.appendingPath("api/auth/google").withQuery({{"native", "1"}});
    const auto answer = co_await webAuthentication_.authenticate(std::move(start), "brisko");
    if (!answer)
        throw Failure("Sign-in was cancelled.");

    std::optional<std::string> code;
    if (const auto url = Url::parse(*answer)) {
        for (const auto& [name, value] : url->queryItems()) {
            if (name == "code") {
                code = value;
                break;
            }
        }
    }
    if (!code)
        throw Failure("Google did not send anything back.");
    Json body = {{"code", std::move(*code)}};
    co_await post("api/auth/native", std::move(body));
}

bool BriskoAPI::hasSession() const {
    for (const auto& cookie : storage_.cookiesFor(origin_))
        if (cookie.name == sessionCookieName)
            return true;
    return false;
}

Task<bool> BriskoAPI::hasLiveSession() {
    if (!hasSession())
        co_return false;
    const auto cookies = co_await webData_.allCookies();
    for (const auto& cookie : cookies)
        if (cookie.name == sessionCookieName && cookie.domain.ends_with(*origin_.host()))
            co_return true;
    co_await signOut();
    co_return false;
}

void BriskoAPI::keepRenewed(const std::vector<Cookie>& ofThePage) const {
    for (const auto& known : storage_.cookiesFor(origin_))
        for (const auto& cookie : ofThePage)
            if (cookie.isSameAs(known) && cookie != known)
                storage_.replace(cookie);
}

Task<> BriskoAPI::handOverSession() {
    const auto cookies = storage_.cookiesFor(origin_);
    for (const auto& cookie : cookies) {
        co_await webData_.setCookie(cookie);
    }
}

Task<> BriskoAPI::signOut() {
    for (const auto& cookie : storage_.cookiesFor(origin_))
        storage_.remove(cookie);
    co_await webData_.removeAllData();
}
