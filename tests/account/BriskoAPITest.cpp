#include "account/BriskoAPI.h"

#include "fakes/FakeAccount.h"
#include "platform/Outcome.h"

#include <gtest/gtest.h>

namespace {

using Cookies = std::vector<Cookie>;

Cookie cookie(const std::string& name, const std::string& domain = "brisko.example") {
    auto made = FakeAccount::session(domain);
    made.name = name;
    return made;
}

struct BriskoAPITest : testing::Test {
    FakeAccount account;
    BriskoAPI& api = account.api;
};

} // namespace

TEST_F(BriskoAPITest, postsJsonToTheServiceAndTurnsARefusalIntoASentence) {
    const auto refusal = [this](std::optional<int> status, const std::string& body) {
        const auto outcome = begin(api.signIn(" \"ann\" ", SecretText("p\xC3\xA9\\\n")));
        const auto request = account.http.pending.at(0)->request;
        EXPECT_EQ(request.method + " " + request.url.text() + " " + request.headers.at(0).first + ": " +
                      request.headers.at(0).second + " " + request.body,
                  "POST https://brisko.example/api/auth/login Content-Type: application/json "
                  R"({"password":"pé\\\n","username":" \"ann\" "})");
        EXPECT_EQ(request.timeout, std::chrono::seconds(60));
        account.http.answer(status, body);
        EXPECT_EQ(outcome->value.has_value(), outcome->message().empty()) << body;
        return outcome->message();
    };
    for (const auto* unread : {"", R"({"error":"unread"})", "{"})
        EXPECT_EQ(refusal(200, unread) + refusal(299, unread), "") << unread;
    EXPECT_EQ(refusal(401, R"({"error":" No, \u00e9. "})"), " No, \xC3\xA9. ");
    EXPECT_EQ(refusal(std::nullopt, R"({"error":"x"})"), "No response from brisko.");
    for (const auto* sayingNothing : {"", R"({"error":500})", R"([{"error":"x"}])", R"({"error":"x"} y)"})
        EXPECT_EQ(refusal(500, sayingNothing), "Something went wrong (500).") << sayingNothing;
    EXPECT_EQ(refusal(199, "") + refusal(300, ""), "Something went wrong (199).Something went wrong (300).");
}

TEST_F(BriskoAPITest, takesAChallengeWhateverTheStatusAndRefusesAnUnusableOne) {
    const auto load = [this](std::optional<int> status, const std::string& body) {
        const auto outcome = begin(api.captcha());
        const auto request = account.http.pending.at(0)->request;
        EXPECT_EQ(request.cachePolicy, HttpRequest::CachePolicy::reloadIgnoringLocalData);
        EXPECT_EQ(request.method + request.url.text(), "GEThttps://brisko.example/api/auth/captcha");
        account.http.answer(status, body);
        return outcome->value ? outcome->value->token + ":" + outcome->value->image : outcome->message();
    };
    EXPECT_EQ(load(200, R"({"token":"t1","image":"data:image/png;base64,AP8="})"),
              std::string("t1:\0\xFF", 5));
    EXPECT_EQ(load(std::nullopt, R"({"token":"t1","image":","})"), "t1:");
    for (const auto* unusable : {R"({"token":"t1","image":"QUJD"})", R"({"token":"t1","image":"x,y,QUJD"})",
                                 R"({"token":"t1","image":5})", R"({"token":1,"image":"x,QUJD"})", "<html>"})
        EXPECT_EQ(load(500, unusable), "Could not load the verification image.") << unusable;
}

TEST_F(BriskoAPITest, exchangesTheFirstCodeThatTheBrowserBringsBackFromGoogle) {
    const auto sentFor = [](const std::optional<std::string>& answer) {
        FakeAccount account;
        const auto outcome = begin(account.api.signInWithGoogle());
        EXPECT_EQ(account.browser.started.at(0), "brisko https://brisko.example/api/auth/google?native=1");
        account.browser.answer.resolve(answer);
        if (account.http.pending.empty())
            return outcome->message();
        const auto request = account.http.pending[0]->request;
        account.http.answer(204, "");
        return request.url.path() + request.body;
    };
    EXPECT_EQ(sentFor("brisko://auth?state=1&code=a%2Fb+c%3D&code=d"),
              R"(/api/auth/native{"code":"a/b+c="})");
    EXPECT_EQ(sentFor("brisko:?code=#f"), R"(/api/auth/native{"code":""})");
    for (const auto* answer :
         {"brisko://auth?code&code=abc", "brisko://auth#code=abc", "brisko://a b?code=abc"})
        EXPECT_EQ(sentFor(answer), "Google did not send anything back.") << answer;
    EXPECT_EQ(sentFor(std::nullopt), "Sign-in was cancelled.");
}

TEST_F(BriskoAPITest, handsTheServicesCookiesOverAndSignsOutOnThisMachineOnly) {
    const auto foreign = cookie("foreign", "elsewhere.example"),
               ours = FakeAccount::session(".brisko.example");
    account.jar.cookies = {ours};
    account.webData.cookies = {cookie("theme")};
    EXPECT_EQ(begin(api.hasLiveSession())->value, false);
    account.webData.cookies = {foreign};
    account.jar.cookies = {cookie("a"), foreign, ours};
    EXPECT_TRUE(begin(api.handOverSession())->value);
    EXPECT_EQ(account.webData.cookies, Cookies({foreign, cookie("a"), ours}));
    EXPECT_EQ(account.jar.cookies, Cookies({cookie("a"), foreign, ours}));
    account.webData.hold = true;
    const auto leaving = begin(api.signOut());
    EXPECT_EQ(account.jar.cookies, Cookies{foreign});
    EXPECT_FALSE(leaving->value);
    account.webData.release();
    EXPECT_TRUE(leaving->value && account.webData.cookies.empty() && account.http.pending.empty());
}

TEST_F(BriskoAPITest, acceptsOnlyAnHttpsOriginWithoutPath) {
    EXPECT_EQ(BriskoAPI::parseOrigin("https://H.Example:8443/")->text(), "https://h.example:8443");
    EXPECT_EQ(BriskoAPI::parseOrigin("https://[::1]:8443/")->text(), "https://[::1]:8443");
    for (const auto* given : {"h.example", "http://h.example", "https:///x", "https://h.example/a",
                              "https://u@h.example", "https://h example"})
        EXPECT_EQ(BriskoAPI::parseOrigin(given), std::nullopt) << given;
}
