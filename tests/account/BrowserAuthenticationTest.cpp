#include "account/BrowserAuthentication.h"

#include "fakes/FakePlatform.h"
#include "platform/Outcome.h"
#include "web/OpenedUrl.h"

#include <gtest/gtest.h>

namespace {

struct BrowserAuthenticationTest : testing::Test, AuthenticationPanel {
    bool shown = false;
    std::function<void()> onCancel;
    FakeWorkspace workspace;
    BrowserAuthentication browser{
        workspace, *this, [](const std::string& url) { return OpenedUrl::servicePath(url).has_value(); }};

    void show(std::function<void()> callback) override {
        shown = true;
        onCancel = std::move(callback);
    }
    void hide() override { shown = false; }
    auto start() {
        return begin(browser.authenticate(*Url::parse("https://brisko.example/start"), "brisko"));
    }
};

} // namespace

TEST_F(BrowserAuthenticationTest, opensTheBrowserBehindAPanelAndHandsOutTheFirstAnswerOnly) {
    EXPECT_FALSE(browser.take("brisko://auth?code=early"));
    const auto outcome = start();
    EXPECT_EQ(workspace.opened, std::vector<std::string>{"https://brisko.example/start"});
    // What opens a page of the program is none.
    for (const auto* url : {"brisko://new", "brisko://today", "https://auth?code=1", "brisko", ""})
        EXPECT_FALSE(browser.take(url)) << url;
    EXPECT_TRUE(shown && !outcome->ended());
    // A provider may well answer without a host, or with a scheme in capitals.
    EXPECT_TRUE(browser.take("BRISKO:code"));
    EXPECT_EQ(outcome->value, "BRISKO:code");
    EXPECT_FALSE(shown || browser.take("BRISKO:code"));
}

TEST_F(BrowserAuthenticationTest, isTheCancelledLoginErrorWhenThePersonGivesUpAndIgnoresALateAnswer) {
    const auto outcome = start();
    const auto cancel = onCancel;
    cancel();
    try {
        outcome->take();
        ADD_FAILURE() << "it has not failed";
    } catch (const WebAuthenticationError& failure) {
        EXPECT_EQ(failure.code(), WebAuthenticationError::cancelledLogin);
    }
    cancel();
    EXPECT_FALSE(shown || browser.take("brisko://auth?code=1"));
    workspace.failure = Error("No application is registered as handling this file");
    EXPECT_EQ(start()->message(), "No application is registered as handling this file");
    EXPECT_FALSE(shown);
}

TEST_F(BrowserAuthenticationTest, aSecondSignInEndsTheFirstWithoutAnAnswerAndKeepsItsOwnPanel) {
    const auto first = start(), second = start();
    EXPECT_TRUE(first->value && !*first->value && shown);
    EXPECT_TRUE(browser.take("brisko://auth?code=2"));
    EXPECT_EQ(second->value, "brisko://auth?code=2");
}
