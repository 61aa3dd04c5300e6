#include "account/BriskoAPI.h"

#include "fakes/FakeAccount.h"
#include "platform/Base64.h"
#include "platform/Outcome.h"

#include <gtest/gtest.h>

namespace {

using Cookies = std::vector<Cookie>;

Cookie cookie(const std::string& name, const std::string& domain = "brisko.example",
              const std::string& path = "/") {
    auto made = FakeAccount::session(domain);
    made.name = name;
    made.path = path;
    return made;
}

class BriskoAPITest : public testing::Test {
protected:
    FakeAccount account;
    BriskoAPI& api = account.api;
};

} // namespace

TEST_F(BriskoAPITest, postsJsonToTheServiceAndNothingElse) {
    const auto expectPost = [this](const std::string& path, const Json& body) {
        const auto& request = account.http.sent.back();
        EXPECT_EQ(request.method + " " + request.url.text(), "POST https://brisko.example/" + path);
        EXPECT_EQ(parseJson(request.body), body);
        ASSERT_EQ(request.headers.size(), 1U);
        EXPECT_EQ(request.headers[0].first + ": " + request.headers[0].second,
                  "Content-Type: application/json");
        EXPECT_EQ(request.timeout, std::chrono::seconds(60));
        account.http.answer(204);
    };
    const auto signingIn = begin(api.signIn(" \"ann\" ", SecretText("p\xC3\xA9\\\n")));
    expectPost("api/auth/login", {{"username", " \"ann\" "}, {"password", "p\xC3\xA9\\\n"}});
    const auto registering = begin(api.registerAccount("ann", SecretText("secret"), "", "t1", "typed"));
    expectPost("api/auth/register", {{"username", "ann"},
                                     {"password", "secret"},
                                     {"email", ""},
                                     {"captchaToken", "t1"},
                                     {"captchaAnswer", "typed"}});
    const auto asking = begin(api.requestReset("a@b"));
    expectPost("api/auth/forgot", {{"email", "a@b"}});
    EXPECT_TRUE(signingIn->value && registering->value && asking->value);
}

TEST_F(BriskoAPITest, turnsARefusalIntoASentence) {
    const auto refusal = [this](std::optional<int> status, const std::string& body) {
        const auto outcome = begin(api.signIn("ann", SecretText("secret")));
        account.http.answer(status, body);
        EXPECT_EQ(outcome->value.has_value(), outcome->message().empty()) << body;
        return outcome->message();
    };
    for (const auto* unread : {"", R"([{"error":"no"}])", "<html>", R"({"error":"unread"})", "{"})
        EXPECT_EQ(refusal(200, unread) + refusal(299, unread), "") << unread;
    EXPECT_EQ(refusal(401, R"({"error":" No, \u00e9. "})"), " No, \xC3\xA9. ");
    EXPECT_EQ(refusal(std::nullopt, R"({"error":"x"})"), "No response from brisko.");
    for (const auto* sayingNothing : {"", R"({"error":500})", R"({"Error":"x"})", "<html>",
                                      R"([{"error":"x"}])", "{\"error\":\"\xFF\"}", R"({"error":"x"} y)"})
        EXPECT_EQ(refusal(500, sayingNothing), "Something went wrong (500).") << sayingNothing;
    EXPECT_EQ(refusal(199, ""), "Something went wrong (199).");
    EXPECT_EQ(refusal(300, ""), "Something went wrong (300).");
}

TEST_F(BriskoAPITest, passesOnTheErrorOfATransportOrAnEncoderUnchanged) {
    const TransportError timedOut(TransportError::Reason::timedOut, "Timed out");
    const auto signingIn = begin(api.signIn("ann", SecretText("secret")));
    account.http.fail(timedOut);
    EXPECT_THROW(std::rethrow_exception(signingIn->failure), TransportError);
    const auto loading = begin(api.captcha());
    account.http.fail(timedOut);
    EXPECT_THROW(std::rethrow_exception(loading->failure), TransportError);
    const auto notUnicode = begin(api.signIn("\xFF", SecretText("secret")));
    EXPECT_THROW(std::rethrow_exception(notUnicode->failure), Json::type_error);
    EXPECT_EQ(account.http.sent.size(), 2U);
}

TEST_F(BriskoAPITest, alwaysHasANoticeForARequestedReset) {
    for (const auto* body : {R"({"message":5})", "[]", ""}) {
        const auto outcome = begin(api.requestReset("a@b"));
        account.http.answer(200, body);
        EXPECT_EQ(outcome->value, "If that address has an account, a reset link is on its way.") << body;
    }
}

TEST_F(BriskoAPITest, takesAChallengeWhateverTheStatusAndRefusesAnUnusableOne) {
    const auto load = [this](std::optional<int> status, const std::string& body) {
        auto outcome = begin(api.captcha());
        const auto& request = account.http.sent.back();
        EXPECT_EQ(request.method + " " + request.url.text(), "GET https://brisko.example/api/auth/captcha");
        EXPECT_EQ(request.cachePolicy, HttpRequest::CachePolicy::reloadIgnoringLocalData);
        EXPECT_TRUE(request.headers.empty() && request.body.empty());
        account.http.answer(status, body);
        return outcome;
    };
    const std::tuple<std::optional<int>, const char*, std::string> usable[] = {
        {200, R"({"token":"t1","image":"data:image/png;base64,AP8="})", std::string("\0\xFF", 2)},
        {500, R"({"token":"t1","image":",QUJD"})", "ABC"},
        {std::nullopt, R"({"token":"t1","image":"x,"})", ""}};
    for (const auto& [status, body, image] : usable) {
        const auto outcome = load(status, body);
        ASSERT_TRUE(outcome->value) << body;
        EXPECT_EQ(outcome->value->token, "t1");
        EXPECT_EQ(outcome->value->image, image);
    }
    for (const auto* unusable :
         {R"({"token":"t1","image":"QUJD"})", R"({"token":"t1","image":"x,y,QUJD"})",
          R"({"token":"t1","image":"x,QUJ\nD"})", R"({"token":"t1","image":5})",
          R"({"token":1,"image":"x,QUJD"})", R"([{"token":"t1","image":"x,QUJD"}])", "<html>"})
        EXPECT_EQ(load(200, unusable)->message(), "Could not load the verification image.") << unusable;
}

TEST(Base64, isReadWithoutLeniency) {
    for (const auto* text :
         {"QUJD ", "\tQUJD", "QU\rJD", "QU-_", "QQ", "QUJD=", "QQ=", "QQ===", "Q", "=", "QQ==QQ=="})
        EXPECT_EQ(decodeBase64(text), std::nullopt) << text;
    EXPECT_EQ(decodeBase64(std::string_view("QU\0D", 4)), std::nullopt);
    EXPECT_EQ(decodeBase64("+/+/"), "\xFB\xFF\xBF");
}

TEST_F(BriskoAPITest, exchangesTheFirstCodeThatTheBrowserBringsBack) {
    const std::pair<std::string, std::optional<std::string>> cases[] = {
        {"brisko://auth?code=abc&code=def", "abc"},
        {"brisko://auth?state=1&code=a%2Fb+c%3D", "a/b+c="},
        {"brisko:?code=1", "1"},
        {"brisko://auth?code=", ""},
        {"brisko://auth?&code=1#f", "1"},
        {"brisko://auth?code&code=abc", std::nullopt},
        {"brisko://auth?Code=abc", std::nullopt},
        {"brisko://auth#code=abc", std::nullopt},
        {"brisko://a b?code=abc", std::nullopt},
        {"", std::nullopt}};
    for (const auto& [answer, code] : cases) {
        FakeAccount other;
        const auto outcome = begin(other.api.signInWithGoogle());
        EXPECT_EQ(other.browser.started.at(0), "brisko https://brisko.example/api/auth/google?native=1");
        other.browser.answer.resolve(answer);
        ASSERT_EQ(other.http.sent.size(), code ? 1U : 0U) << answer;
        if (code) {
            EXPECT_EQ(other.http.sent[0].url.path(), "/api/auth/native");
            EXPECT_EQ(other.http.sent[0].body, Json({{"code", *code}}).dump());
            other.http.answer(403, R"({"error":"No such account."})");
        }
        EXPECT_EQ(outcome->message(), code ? "No such account." : "Google did not send anything back.");
    }
}

TEST_F(BriskoAPITest, endsAGoogleSignInTheWayTheBrowserEndedIt) {
    const auto without = begin(api.signInWithGoogle());
    account.browser.answer.resolve(std::nullopt);
    EXPECT_EQ(without->message(), "Sign-in was cancelled.");
    FakeAccount other;
    const auto closed = begin(other.api.signInWithGoogle());
    other.browser.answer.fail(
        std::make_exception_ptr(WebAuthenticationError("Closed", WebAuthenticationError::cancelledLogin)));
    EXPECT_THROW(std::rethrow_exception(closed->failure), WebAuthenticationError);
    EXPECT_TRUE(account.http.sent.empty() && other.http.sent.empty());
}

TEST_F(BriskoAPITest, callsASessionLiveWhenJarAndWebViewHoldItAndClearsOneThatOnlyTheJarHolds) {
    const auto session = FakeAccount::session;
    const auto ours = session("brisko.example");
    enum class End { live, none, cleared };
    struct Case {
        Cookies jar, web;
        End end;
    };
    for (const auto& row : std::vector<Case>{{{}, {ours}, End::none},
                                             {{session("elsewhere.example")}, {ours}, End::none},
                                             {{cookie("Brisko_session")}, {ours}, End::none},
                                             {{ours}, {cookie("theme"), ours}, End::live},
                                             {{ours}, {session(".brisko.example")}, End::live},
                                             {{ours}, {session("app.brisko.example")}, End::live},
                                             {{ours, cookie("theme")}, {cookie("theme")}, End::cleared},
                                             {{ours}, {}, End::cleared},
                                             {{ours}, {session("brisko.example.evil.test")}, End::cleared},
                                             {{ours}, {session("example")}, End::cleared}}) {
        account.jar.cookies = row.jar;
        account.webData.cookies = row.web;
        const auto cleared = row.end == End::cleared;
        EXPECT_EQ(begin(api.hasLiveSession())->value, row.end == End::live);
        EXPECT_EQ(account.jar.cookies, cleared ? Cookies() : row.jar);
        EXPECT_EQ(account.webData.cookies, cleared ? Cookies() : row.web);
        const auto started = account.webData.started;
        EXPECT_EQ(begin(api.hasLiveSession())->value, row.end == End::live);
        EXPECT_EQ(account.webData.started, started + (row.end == End::live ? 1 : 0))
            << "cleared a second time";
    }
}

TEST_F(BriskoAPITest, answersOnlyOnceALostSessionHasBeenCleared) {
    account.jar.cookies = {FakeAccount::session()};
    account.webData.hold = true;
    const auto outcome = begin(api.hasLiveSession());
    account.webData.release();
    EXPECT_FALSE(outcome->value);
    account.webData.release();
    EXPECT_EQ(outcome->value, false);
}

TEST_F(BriskoAPITest, handsTheServicesCookiesOverOneAfterTheOtherAndTakesNoneAway) {
    account.webData.cookies = {cookie("theme"), cookie("stale", "elsewhere.example")};
    account.jar.cookies = {cookie("a"), cookie("foreign", "elsewhere.example"),
                           cookie("sub", "app.brisko.example"), cookie("deep", "brisko.example", "/deep"),
                           FakeAccount::session(".brisko.example")};
    const auto jar = account.jar.cookies;
    account.webData.hold = true;
    const auto outcome = begin(api.handOverSession());
    for (const auto started : {1, 2}) {
        EXPECT_EQ(account.webData.started, started);
        EXPECT_FALSE(outcome->value);
        account.webData.release();
    }
    EXPECT_TRUE(outcome->value);
    EXPECT_EQ(account.webData.cookies,
              Cookies({cookie("theme"), cookie("stale", "elsewhere.example"), jar.front(), jar.back()}));
    EXPECT_EQ(account.jar.cookies, jar);

    account.jar.cookies.clear();
    EXPECT_TRUE(begin(api.handOverSession())->value);
    EXPECT_EQ(account.webData.started, 2);
}

TEST_F(BriskoAPITest, signsOutOnThisMachineOnly) {
    const auto foreign = cookie("foreign", "elsewhere.example");
    account.jar.cookies = {FakeAccount::session(), foreign, cookie("theme", ".brisko.example")};
    account.webData.cookies = {FakeAccount::session(), foreign};
    account.webData.hold = true;
    const auto outcome = begin(api.signOut());
    EXPECT_EQ(account.jar.cookies, Cookies({foreign}));
    EXPECT_FALSE(outcome->value);
    account.webData.release();
    EXPECT_TRUE(outcome->value && account.webData.cookies.empty() && account.http.sent.empty());
}

TEST_F(BriskoAPITest, acceptsOnlyAnHttpsOriginWithoutPath) {
    for (const auto& [given, origin] : {std::pair("https://h.example", "https://h.example"),
                                        std::pair("https://H.Example:8443/", "https://h.example:8443"),
                                        std::pair("https://[::1]:8443/", "https://[::1]:8443")})
        EXPECT_EQ(BriskoAPI::parseOrigin(given), Url::parse(origin)) << given;
    for (const auto* given :
         {"", "h.example", "http://h.example", "https://", "https:///x", "https://h.example/a",
          "https://h.example//", "https://h.example?a", "https://u@h.example", "https://h example"})
        EXPECT_EQ(BriskoAPI::parseOrigin(given), std::nullopt) << given;
    for (const auto* origin : {"https://h.example/", "http://h.example"})
        EXPECT_THROW(
            BriskoAPI(*Url::parse(origin), account.http, account.jar, account.webData, account.browser),
            std::invalid_argument);
}
