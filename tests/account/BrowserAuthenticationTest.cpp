#include "account/BrowserAuthentication.h"

#include "fakes/FakePlatform.h"
#include "platform/Outcome.h"
#include "web/OpenedUrl.h"

#include <gmock/gmock.h>

namespace {

struct BrowserAuthenticationTest : testing::Test, AuthenticationPanel {
    std::function<void()> cancel; ///< while the panel is shown
    FakeWorkspace workspace;
    BrowserAuthentication browser{
        workspace, *this, [](const std::string& url) { return OpenedUrl::servicePath(url).has_value(); }};

    void show(std::function<void()> onCancel) override { cancel = std::move(onCancel); }
    void hide() override { cancel = nullptr; }
    auto start() {
        return begin(browser.authenticate(*Url::parse("https://brisko.example/start"), "brisko"));
    }
};

} // namespace

TEST_F(BrowserAuthenticationTest, opensTheBrowserBehindAPanelAndHandsOutTheFirstAnswerOnly) {
    EXPECT_FALSE(browser.take("brisko://auth?code=early"));
    // A second sign-in ends the first without an answer, and keeps its own panel.
    const auto first = start(), second = start();
    EXPECT_TRUE(first->value && !*first->value && cancel);
    EXPECT_EQ(workspace.opened.at(1), "https://brisko.example/start");
    // What opens a page of the program is none.
    for (const auto* url : {"brisko://new", "https://auth?code=1", "brisko"})
        EXPECT_FALSE(browser.take(url)) << url;
    // A provider may well answer without a host, or with a scheme in capitals.
    EXPECT_TRUE(cancel && !second->ended() && browser.take("BRISKO:code"));
    EXPECT_EQ(second->value, "BRISKO:code");
    EXPECT_FALSE(cancel || browser.take("BRISKO:code"));
}

TEST_F(BrowserAuthenticationTest, isTheCancelledLoginErrorWhenThePersonGivesUpAndIgnoresALateAnswer) {
    const auto outcome = start();
    const auto giveUp = cancel;
    giveUp();
    EXPECT_THAT([&] { outcome->take(); }, testing::Throws<WebAuthenticationError>(testing::Property(
                                              &Error::code, WebAuthenticationError::cancelledLogin)));
    EXPECT_FALSE(cancel || browser.take("brisko://auth?code=1"));
}
