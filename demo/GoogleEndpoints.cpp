#include "demo/GoogleEndpoints.h"

#include "demo/PageFiles.h"

#include <libsoup/soup.h>
#include <nlohmann/json.hpp>

#include <memory>

namespace Demo {

namespace {

constexpr std::chrono::minutes consentLifetime(10);
constexpr std::size_t consentCapacity = 100;
constexpr const char* askedByProgram = "native";
constexpr const char* askedByBrowser = "browser";

/// The fields of an application/x-www-form-urlencoded body.
std::map<std::string, std::string> formFields(const std::string& body) {
    const std::unique_ptr<GHashTable, decltype(&g_hash_table_unref)> table(soup_form_decode(body.c_str()),
                                                                           g_hash_table_unref);
    std::map<std::string, std::string> fields;
    GHashTableIter iterator;
    gpointer key = nullptr;
    gpointer value = nullptr;
    g_hash_table_iter_init(&iterator, table.get());
    while (g_hash_table_iter_next(&iterator, &key, &value))
        fields[static_cast<const char*>(key)] = static_cast<const char*>(value);
    return fields;
}

Answer backToProgram(const Request& request, const std::string& address) {
    // A browser follows a redirect to a foreign scheme in silence, or shows an error of its own when no
    // program has claimed the scheme, so it is given a page to stay on.
    if (request.header("accept").find("text/html") != std::string::npos)
        return Answer::html(200, PageFiles::fill("return.html", {{"address", address}}));
    return Answer::redirect(address);
}

} // namespace

GoogleEndpoints::GoogleEndpoints(State& state, SignedIn& signedIn, const Now& now)
    : state_(state),
      signedIn_(signedIn),
      consents_(now, consentLifetime, consentCapacity),
      codes_(now, consentLifetime, consentCapacity) {}

void GoogleEndpoints::addTo(Router& router) {
    router.on("GET", "/api/auth/google", [this](const Request& request) { return askConsent(request); });
    router.on("POST", "/api/auth/google", [this](const Request& request) { return decide(request); });
    router.on("POST", "/api/auth/native", [this](const Request& request) { return exchange(request); });
}

Answer GoogleEndpoints::askConsent(const Request& request) {
    const auto native = request.query.find("native");
    const bool byProgram = native != request.query.end() && native->second == "1";
    const std::string nonce = consents_.issue(byProgram ? askedByProgram : askedByBrowser);
    return Answer::html(200, PageFiles::fill("consent.html", {{"nonce", nonce}}));
}

Answer GoogleEndpoints::decide(const Request& request) {
    const auto fields = formFields(request.body);
    const auto field = [&](const char* name) {
        return fields.contains(name) ? fields.at(name) : std::string();
    };
    const auto askedBy = consents_.take(field("nonce"));
    if (!askedBy)
        return Answer::html(400, PageFiles::read("expired.html"));
    const bool allowed = field("decision") == "allow";
    if (askedBy == askedByProgram)
        return backToProgram(request,
                             allowed ? "brisko://auth?code=" + codes_.issue(state_.accounts.google().username)
                                     : "brisko://auth?error=access_denied");
    if (!allowed)
        return Answer::redirect("/login");
    Answer answer = Answer::redirect("/");
    signedIn_.open(answer, state_.accounts.google());
    return answer;
}

Answer GoogleEndpoints::exchange(const Request& request) {
    const auto username = codes_.take(requireText(request.object(), "code"));
    const Account* account = username ? state_.accounts.find(*username) : nullptr;
    if (!account)
        throw Refusal(400, "This sign-in has expired or was used before. Please start again.");
    Answer answer = Answer::json(200, {{"ok", true}});
    signedIn_.open(answer, *account);
    return answer;
}

} // namespace Demo
