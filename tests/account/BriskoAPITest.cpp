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
        const auto request = account.http.pending.back()->request;
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
    EXPECT_EQ(account.http.pending.back()->request.timeout, std::chrono::seconds(60));
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
        EXPECT_EQ(account.http.pending.back()->request.cachePolicy,
                  HttpRequest::CachePolicy::reloadIgnoringLocalData);
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
        if (account.http.pending.empty())
            return outcome->message();
        const auto request = account.http.pending[0]->request;
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
    const auto of = FakeAccount::session;
    const auto ours = of("brisko.example"), theme = cookie("theme");
    const auto ends = [this](const Cookies& jar, const Cookies& web) {
        account.jar.cookies = jar;
        account.webData.cookies = web;
        const auto live = begin(api.hasLiveSession())->value.value();
        const auto kept = account.jar.cookies == jar && account.webData.cookies == web;
        const auto cleared = account.jar.cookies.empty() && account.webData.cookies.empty();
        return std::string(live ? "live" : "none") + (kept ? "" : cleared ? ", cleared" : ", changed");
    };
    for (const auto& jar : {Cookies(), {of("elsewhere.example")}, {cookie("Brisko_session")}})
        EXPECT_EQ(ends(jar, {ours}), "none");
    for (const auto& web : {Cookies{theme, ours}, {of(".brisko.example")}, {of("app.brisko.example")}})
        EXPECT_EQ(ends({ours}, web), "live");
    for (const auto& web : {Cookies{theme}, {}, {of("brisko.example.evil.test")}, {of("example")}})
        EXPECT_EQ(ends({ours, theme}, web), "none, cleared");
    account.jar.cookies = {ours};
    account.webData.hold = true;
    const auto outcome = begin(api.hasLiveSession());
    account.webData.release();
    EXPECT_FALSE(outcome->value) << "before a lost session has been cleared";
    account.webData.release();
    EXPECT_EQ(outcome->value, false);
}

TEST_F(BriskoAPITest, handsTheServicesCookiesOverOneAfterTheOtherAndSignsOutOnThisMachineOnly) {
    auto deep = cookie("deep");
    deep.path = "/deep";
    const auto foreign = cookie("foreign", "elsewhere.example"), sub = cookie("sub", "app.brisko.example");
    const auto ours = FakeAccount::session(".brisko.example");
    account.webData.cookies = {cookie("theme"), foreign};
    account.jar.cookies = {cookie("a"), foreign, sub, deep, ours};
    account.webData.hold = true;
    const auto handing = begin(api.handOverSession());
    for (const auto started : {1, 2}) {
        EXPECT_EQ(account.webData.started, started);
        EXPECT_FALSE(handing->value);
        account.webData.release();
    }
    EXPECT_TRUE(handing->value);
    EXPECT_EQ(account.webData.cookies, Cookies({cookie("theme"), foreign, cookie("a"), ours}));
    EXPECT_EQ(account.jar.cookies, Cookies({cookie("a"), foreign, sub, deep, ours}));

    const auto leaving = begin(api.signOut());
    EXPECT_EQ(account.jar.cookies, Cookies({foreign, sub, deep}));
    EXPECT_FALSE(leaving->value);
    account.webData.release();
    EXPECT_TRUE(leaving->value && account.webData.cookies.empty() && account.http.pending.empty());
}

TEST_F(BriskoAPITest, acceptsOnlyAnHttpsOriginWithoutPath) {
    EXPECT_EQ(BriskoAPI::parseOrigin("https://h.example")->text(), "https://h.example");
    EXPECT_EQ(BriskoAPI::parseOrigin("https://H.Example:8443/")->text(), "https://h.example:8443");
    EXPECT_EQ(BriskoAPI::parseOrigin("https://[::1]:8443/")->text(), "https://[::1]:8443");
    for (const auto* given : {"", "h.example", "http://h.example", "https:///x", "https://h.example/a",
                              "https://h.example//", "https://u@h.example", "https://h example"})
        EXPECT_EQ(BriskoAPI::parseOrigin(given), std::nullopt) << given;
    for (const auto* origin : {"https://h.example/", "http://h.example", "https:"})
        EXPECT_THROW(
            BriskoAPI(*Url::parse(origin), account.http, account.jar, account.webData, account.browser),
            std::invalid_argument);
}
