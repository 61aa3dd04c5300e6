#include "account/BriskoAPI.h"

#include "fakes/FakeAccount.h"
#include "platform/Base64.h"
#include "platform/Outcome.h"

#include <gtest/gtest.h>

namespace {

using Cookies = std::vector<Cookie>;

Cookie cookie(const std::string& name, const std::string& domain = "brisko.example") {
    auto made = FakeAccount::session(domain);
    made.name = name;
    return made;
}

class BriskoAPITest : public testing::Test {
protected:
    FakeAccount account;
    BriskoAPI& api = account.api;

    /// The request that went last, which the service answers.
    std::string answered(std::optional<int> status, const std::string& body) {
        const auto& request = account.http.sent.back();
        auto text = request.method + " " + request.url.text();
        for (const auto& [name, value] : request.headers)
            text += " " + name + ": " + value;
        text += " " + request.body;
        account.http.answer(status, body);
        return text;
    }
};

} // namespace

TEST_F(BriskoAPITest, postsJsonToTheServiceAndNothingElse) {
    const auto signingIn = begin(api.signIn(" \"ann\" ", SecretText("p\xC3\xA9\\\n")));
    EXPECT_EQ(account.http.sent.back().timeout, std::chrono::seconds(60));
    EXPECT_EQ(answered(204, ""), "POST https://brisko.example/api/auth/login Content-Type: application/json "
                                 R"({"password":"pé\\\n","username":" \"ann\" "})");
    EXPECT_TRUE(signingIn->value);
    EXPECT_THROW(begin(api.signIn("\xFF", SecretText("secret")))->take(), Json::type_error);
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
    EXPECT_EQ(refusal(199, "") + refusal(300, ""), "Something went wrong (199).Something went wrong (300).");
}

TEST_F(BriskoAPITest, takesAChallengeWhateverTheStatusAndRefusesAnUnusableOne) {
    const auto load = [this](std::optional<int> status, const std::string& body) {
        const auto outcome = begin(api.captcha());
        EXPECT_EQ(account.http.sent.back().cachePolicy, HttpRequest::CachePolicy::reloadIgnoringLocalData);
        EXPECT_EQ(answered(status, body), "GET https://brisko.example/api/auth/captcha ");
        return outcome->value ? outcome->value->token + ":" + outcome->value->image : outcome->message();
    };
    EXPECT_EQ(load(200, R"({"token":"t1","image":"data:image/png;base64,AP8="})"),
              std::string("t1:\0\xFF", 5));
    EXPECT_EQ(load(500, R"({"token":"t1","image":",QUJD"})"), "t1:ABC");
    EXPECT_EQ(load(std::nullopt, R"({"token":"t1","image":"x,"})"), "t1:");
    for (const auto* unusable :
         {R"({"token":"t1","image":"QUJD"})", R"({"token":"t1","image":"x,y,QUJD"})",
          R"({"token":"t1","image":"x,QUJ\nD"})", R"({"token":"t1","image":5})",
          R"({"token":1,"image":"x,QUJD"})", R"([{"token":"t1","image":"x,QUJD"}])", "<html>"})
        EXPECT_EQ(load(200, unusable), "Could not load the verification image.") << unusable;
}

TEST(Base64, isReadWithoutLeniency) {
    for (const auto* text :
         {"QUJD ", "\tQUJD", "QU\rJD", "QU-_", "QQ", "QUJD=", "QQ=", "QQ===", "Q", "=", "QQ==QQ=="})
        EXPECT_EQ(decodeBase64(text), std::nullopt) << text;
    EXPECT_EQ(decodeBase64(std::string_view("QU\0D", 4)), std::nullopt);
    EXPECT_EQ(decodeBase64("+/+/"), "\xFB\xFF\xBF");
}

TEST(BriskoAPIAtGoogle, exchangesTheFirstCodeThatTheBrowserBringsBack) {
    const auto sentFor = [](const std::optional<std::string>& answer) {
        FakeAccount account;
        const auto outcome = begin(account.api.signInWithGoogle());
        EXPECT_EQ(account.browser.started.at(0), "brisko https://brisko.example/api/auth/google?native=1");
        account.browser.answer.resolve(answer);
        if (account.http.sent.empty())
            return outcome->message();
        const auto& request = account.http.sent[0];
        account.http.answer(403, R"({"error":"No."})");
        return request.url.path() + request.body + outcome->message();
    };
    for (const auto& [answer, code] : {std::pair("brisko://auth?code=abc&code=def", "abc"),
                                       {"brisko://auth?state=1&code=a%2Fb+c%3D", "a/b+c="},
                                       {"brisko:?code=1", "1"},
                                       {"brisko://auth?code=", ""},
                                       {"brisko://auth?&code=1#f", "1"}})
        EXPECT_EQ(sentFor(answer), "/api/auth/native" + Json({{"code", code}}).dump() + "No.");
    for (const auto* answer : {"brisko://auth?code&code=abc", "brisko://auth?Code=abc",
                               "brisko://auth#code=abc", "brisko://a b?code=abc", ""})
        EXPECT_EQ(sentFor(answer), "Google did not send anything back.") << answer;
    EXPECT_EQ(sentFor(std::nullopt), "Sign-in was cancelled.");
}

TEST_F(BriskoAPITest, callsASessionLiveWhenJarAndWebViewHoldItAndClearsOneThatOnlyTheJarHolds) {
    const auto ours = FakeAccount::session();
    const auto of = FakeAccount::session;
    for (const auto& [jar, web, end] : std::vector<std::tuple<Cookies, Cookies, std::string>>{
             {{}, {ours}, "none"},
             {{of("elsewhere.example")}, {ours}, "none"},
             {{cookie("Brisko_session")}, {ours}, "none"},
             {{ours}, {cookie("theme"), ours}, "live"},
             {{ours}, {of(".brisko.example")}, "live"},
             {{ours}, {of("app.brisko.example")}, "live"},
             {{ours, cookie("theme")}, {cookie("theme")}, "cleared"},
             {{ours}, {}, "cleared"},
             {{ours}, {of("brisko.example.evil.test")}, "cleared"},
             {{ours}, {of("example")}, "cleared"}}) {
        account.jar.cookies = jar;
        account.webData.cookies = web;
        EXPECT_EQ(begin(api.hasLiveSession())->value, end == "live");
        EXPECT_EQ(account.jar.cookies, end == "cleared" ? Cookies() : jar);
        EXPECT_EQ(account.webData.cookies, end == "cleared" ? Cookies() : web);
    }
    account.jar.cookies = {ours};
    account.webData.hold = true;
    const auto outcome = begin(api.hasLiveSession());
    account.webData.release();
    EXPECT_FALSE(outcome->value) << "before a lost session has been cleared";
    account.webData.release();
    EXPECT_EQ(outcome->value, false);
}

TEST_F(BriskoAPITest, handsTheServicesCookiesOverOneAfterTheOtherAndTakesNoneAway) {
    auto deep = cookie("deep");
    deep.path = "/deep";
    account.webData.cookies = {cookie("theme"), cookie("stale", "elsewhere.example")};
    const Cookies jar = {cookie("a"), cookie("foreign", "elsewhere.example"),
                         cookie("sub", "app.brisko.example"), deep, FakeAccount::session(".brisko.example")};
    account.jar.cookies = jar;
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
                                        {"https://H.Example:8443/", "https://h.example:8443"},
                                        {"https://[::1]:8443/", "https://[::1]:8443"}})
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
