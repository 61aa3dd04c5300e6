#include "TestService.h"

#include <gmock/gmock.h>

using namespace Demo;
using namespace std::chrono_literals;
using ::testing::HasSubstr;

namespace {

class GoogleEndpoints : public ServiceTest {
protected:
    /// The one-time value hidden in the consent page's form.
    std::string askConsent(const std::string& path) const {
        const std::string page = client().get(path).body;
        const std::string before = R"(name="nonce" value=")";
        const std::size_t start = page.find(before) + before.size();
        return page.substr(start, page.find('"', start) - start);
    }

    Response decide(const std::string& nonce, const std::string& decision,
                    const Headers& headers = {}) const {
        return client().send("POST", "/api/auth/google", "nonce=" + nonce + "&decision=" + decision, "",
                             headers);
    }

    std::string code() const {
        const std::string location =
            decide(askConsent("/api/auth/google?native=1"), "allow").header("location");
        const std::string start = "brisko://auth?code=";
        EXPECT_TRUE(location.starts_with(start)) << location;
        return location.substr(start.size());
    }

    Response exchange(const std::string& code) const {
        return client().post("/api/auth/native", {{"code", code}});
    }
};

TEST_F(GoogleEndpoints, consentLeadsBackToTheProgramWithACodeThatSignsInOnce) {
    const std::string once = code();
    const Response first = exchange(once);
    EXPECT_EQ(first.status, 200u);
    EXPECT_EQ(client().get("/api/settings", first.cookie()).json().at("username"), "grace");

    const Response second = exchange(once);
    EXPECT_EQ(second.status, 400u);
    EXPECT_THAT(second.error(), HasSubstr("used before"));
    EXPECT_EQ(second.cookie(), "");
    EXPECT_EQ(exchange("").status, 400u);
}

TEST_F(GoogleEndpoints, codesAndConsentsExpire) {
    const std::string nonce = askConsent("/api/auth/google?native=1");
    const std::string late = code();
    pass(10min);
    EXPECT_EQ(exchange(late).status, 400u);
    EXPECT_EQ(decide(nonce, "allow").status, 400u);
}

TEST_F(GoogleEndpoints, decisionCountsOnce) {
    const std::string nonce = askConsent("/api/auth/google?native=1");
    EXPECT_EQ(decide(nonce, "cancel").header("location"), "brisko://auth?error=access_denied");
    EXPECT_EQ(decide(nonce, "allow").status, 400u);
    EXPECT_EQ(decide("made-up", "allow").status, 400u);
    EXPECT_EQ(client().send("POST", "/api/auth/google", "").status, 400u);
}

TEST_F(GoogleEndpoints, browserIsGivenAPageThatOpensTheProgramAndSaysWhatToDoOtherwise) {
    const Response page =
        decide(askConsent("/api/auth/google?native=1"), "allow", {{"Accept", "text/html,*/*;q=0.8"}});
    EXPECT_EQ(page.status, 200u);
    EXPECT_THAT(page.body, HasSubstr(R"(http-equiv="refresh" content="0; url=brisko://auth?code=)"));
    EXPECT_THAT(page.body, HasSubstr("brisko --demo 'brisko://auth?code="));
    EXPECT_THAT(page.body, ::testing::Not(HasSubstr("{{")));
}

TEST_F(GoogleEndpoints, consentAskedForInTheBrowserSignsTheBrowserIn) {
    const Response allowed = decide(askConsent("/api/auth/google"), "allow");
    EXPECT_EQ(allowed.header("location"), "/");
    EXPECT_EQ(client().get("/", allowed.cookie()).status, 200u);
    const Response cancelled = decide(askConsent("/api/auth/google"), "cancel");
    EXPECT_EQ(cancelled.header("location"), "/login");
    EXPECT_EQ(cancelled.cookie(), "");
}

TEST_F(GoogleEndpoints, accountOfSomebodyWithTheSameNameIsNotTakenOver) {
    Json form = signUpForm();
    form["username"] = "Grace";
    form["email"] = "grace@brisko.example";
    ASSERT_EQ(client().post("/api/auth/register", form).status, 200u);
    EXPECT_EQ(client().get("/api/settings", exchange(code()).cookie()).json().at("username"), "grace2");
    EXPECT_EQ(client().get("/api/settings", exchange(code()).cookie()).json().at("username"), "grace2");
}

} // namespace
