#include "account/AuthView.h"

#include "Scenario.h"
#include "fakes/FakeAccount.h"

#include <gtest/gtest.h>

namespace {

using Mode = AuthView::Mode;
using Field = AuthView::Field;
using Text = const std::string&;

// In the order of the enumerations.
constexpr const char* modes[] = {"in", "up", "forgot"};
constexpr const char* fields[] = {"name", "password", "email", "answer"};

/// A person at the sign-in screen, and the service behind it.
class AuthViewTest : public testing::Test {
protected:
    std::optional<FakeAccount> account{std::in_place};
    std::string reports; ///< of successful sign-ins, with the password in quotes
    std::shared_ptr<AuthView> view;
    Scenario::Sight drawn; ///< when the view last said that it has changed
    Scenario story{[this] { return sight(); }, deeds()};

    void SetUp() override { start(); }
    void TearDown() override { EXPECT_TRUE(account->http.pending.empty()) << "a request was left open"; }

    void start() {
        const auto onSignedIn = [this](const std::optional<SecretText>& password) {
            EXPECT_EQ(account->webData.cookies, account->jar.cookies) << "told too early";
            reports += password ? "'" + std::string(password->view()) + "'" : "none";
        };
        view = AuthView::make(account->api, account->remembered, account->workspace, onSignedIn);
        view->changed = [this] { drawn = drawnSight(); };
        drawn = drawnSight();
    }
    /// The screen goes, and the view with it unless something keeps it.
    void vanish() {
        view->changed = nullptr;
        const std::weak_ptr<AuthView> kept = std::exchange(view, nullptr);
        story.said = kept.expired() ? "gone" : "kept";
    }
    Scenario::Sight drawnSight() const {
        const auto& state = view->state();
        return {{"mode", modes[static_cast<int>(state.mode)]},
                {"name", state.identifier},
                {"password", std::string(state.password.view())},
                {"email", state.email},
                {"answer", state.captchaAnswer},
                {"image", state.captcha ? state.captcha->token : ""},
                {"focus", state.focused ? fields[static_cast<int>(*state.focused)] : ""},
                {"error", state.error.value_or("")},
                {"notice", state.notice.value_or("")},
                {"busy", Scenario::flag(state.busy)},
                {"ready", Scenario::flag(view->canSubmit())}};
    }
    Scenario::Sight sight() const {
        auto all = view ? drawnSight() : drawn;
        all.emplace_back("unannounced", Scenario::flag(drawn != all));
        std::string asked;
        for (const auto& each : account->http.pending)
            asked += (asked.empty() ? "" : " + ") + each->request.url.path().substr(10) + each->request.body;
        all.emplace_back("asks", asked);
        all.emplace_back("remembers", account->remembered.username());
        all.emplace_back("reports", reports);
        return all;
    }
    void image(Text token, std::size_t index = 0) {
        account->http.answer(200, R"({"token":")" + token + R"(","image":"a,AQID"})", index);
    }
    void fail(TransportError::Reason reason) { account->http.fail(TransportError(reason, "Timed out")); }
    Scenario::Deeds deeds() {
        Scenario::Deeds all = {
            {"start", [this](auto&) { start(); }},
            {"vanish", [this](auto&) { vanish(); }},
            {"appear", [this](auto&) { view->appeared(); }},
            {"remember", [this](auto& name) { account->remembered.setUsername(name); }},
            {"footer", [this](auto&) { view->pressFooter(); }},
            {"tab", [this](auto& step) { story.said = view->move(std::stoi(step)) ? "moved" : "not moved"; }},
            {"go", [this](auto&) { spawn(view->go()); }},
            {"google", [this](auto&) { spawn(view->googleSignIn()); }},
            {"reload", [this](auto&) { spawn(view->loadCaptcha()); }},
            {"reply", [this](auto& text) { account->http.answer(std::stoi(text), text.substr(3)); }},
            {"accept", [this](auto&) { account->acceptSignIn(); }},
            {"image", [this](auto& token) { image(token); }},
            {"second-image", [this](auto& token) { image(token, 1); }},
            {"lost", [this](auto&) { fail(TransportError::Reason::timedOut); }},
            {"stopped", [this](auto&) { fail(TransportError::Reason::cancelled); }},
            {"browser", [this](auto& url) { account->browser.answer.resolve(url); }}};
        for (const auto mode : {Mode::signIn, Mode::signUp, Mode::forgot})
            all[modes[static_cast<int>(mode)]] = [this, mode](auto&) { view->switchTo(mode); };
        for (const auto field : {Field::identifier, Field::password, Field::email, Field::captcha}) {
            const std::string name = fields[static_cast<int>(field)];
            all[name] = [this, field](auto& text) { view->type(field, text); };
            all["click-" + name] = [this, field](auto&) { view->focus(field); };
        }
        return all;
    }
};

} // namespace

TEST_F(AuthViewTest, mayBeSubmittedOnceWhatTheModeNeedsIsThere) {
    story.play({{"name  , password  ", "name  ; password  ; ready"},
                {"name, email a@b, answer x, go", "no name; email a@b; answer x; no ready"},
                {"name ann, password, go", "name ann; no password"},
                {"up, image t1", "mode up; no name; no answer; image t1; focus name"},
                {"name ann, password secret, go", "name ann; password secret"},
                {"answer x, password, go", "no password; answer x"},
                {"password secret, name, go", "no name; password secret"},
                {"name ann", "name ann; ready"},
                {"forgot, answer x, email ann, go", "mode forgot; no name; email ann; no image; focus email; "
                                                    "no ready"},
                {"email @", "email @; ready"}});
}

TEST_F(AuthViewTest, opensWhereThePersonHasToTypeAndTabGoesRoundTheFieldsOnTheScreen) {
    story.play({{"appear, tab +1", "moved; focus password"},
                {"tab +1", "moved; focus name"},
                {"tab -1", "moved; focus password"},
                {"click-email, tab +1", "not moved; focus email"},
                {"up, image t1, tab -1", "moved; mode up; image t1; focus answer"},
                {"tab +1, tab +1", "moved; focus email"},
                {"tab +1, tab +1, forgot, tab +1", "not moved; mode forgot; no image"},
                {"remember ann, start, appear", "mode in; name ann; focus password; remembers ann"}});
}

TEST_F(AuthViewTest, signInSaysWhyItFailedAndOnceItHasNotRemembersWhatWasSentAndReportsThePassword) {
    const std::string asks = R"(asks login{"password":" secret ","username":" Ann "})";
    story.play(
        {{"name  Ann , password  secret , go", "name  Ann ; password  secret ; busy; " + asks},
         {R"(reply 401{"error":"Wrong password."})", "error Wrong password.; no busy; ready; no asks"},
         {"go, name bob, password other, go", "name bob; password other; no error; busy; no ready; " + asks},
         // A submit is seen through, also without its screen.
         {"vanish, accept", "kept; no asks; remembers Ann; reports ' secret '"}});
}

TEST_F(AuthViewTest, aResetLinkIsAnnouncedAndNobodyIsSignedIn) {
    const std::string asks = R"(asks forgot{"email":"a@b"})";
    story.play(
        {{"footer, email a@b, go", "mode forgot; email a@b; focus email; busy; " + asks},
         {R"(reply 200{"message":"Look."})", "notice Look.; no busy; ready; no asks"},
         {"go", "no notice; busy; no ready; " + asks},
         {R"(reply 200{"message":5})",
          "notice If that address has an account, a reset link is on its way.; no busy; ready; no asks"},
         {"go, lost", "error Timed out; no notice"},
         {"footer", "mode in; focus name; no error; no ready"}});
}

TEST_F(AuthViewTest, signUpAnswersTheImageThatIsShownAndGetsANewOneWhenItFails) {
    const std::string filledIn = "mode up; name ann; password secret; answer x; image t1; focus name; ";
    const std::string all = R"({"captchaAnswer":"x","captchaToken":"t1","email":"","password":"secret",)"
                            R"("username":"ann"})";
    story.play(
        {{"up, image t1, name ann, password secret, answer x, go", filledIn + "busy; asks register" + all},
         {R"(reply 400{"error":"Wrong characters."})", "error Wrong characters.; asks captcha"},
         {"image t2", "image t2; no busy; ready; no asks"},
         {"reload, stopped", ""},
         {"reload, reply 200{}", "no image; error Could not load the verification image."},
         // Without an image nothing is sent but for one.
         {"go", "error Reload the verification image.; busy; no ready; asks captcha"},
         {"lost", "error Could not load the verification image. Check your connection and try again.; "
                  "no busy; ready; no asks"},
         {"reload, image t2", "image t2"},
         {"go, accept", "no error; remembers ann; reports 'secret'"}});
}

TEST_F(AuthViewTest, ofTwoLoadsTheOneThatEndsLastGivesTheImageUnlessTheFormIsLeft) {
    story.play({{"up, reload", "mode up; focus name; asks captcha + captcha"},
                {"second-image early", "image early; asks captcha"},
                {"image late", "image late; no asks"},
                {"up, reload, in", "mode in; no image"},
                {"up, reload, vanish", "gone; mode up"},
                {"start", "mode in; no focus"}});
    account->http.underWay = true;
    story.play({{"up, reload, up", "mode up; focus name; asks captcha + captcha + captcha"},
                // The form that is entered again does not get the image of the one that was left.
                {"image stale, reply 200{}", "asks captcha"},
                {"image t2", "image t2; no asks"}});
}

TEST_F(AuthViewTest, aGoogleSignInReportsNoPasswordAndSaysWhatWentWrongUnlessThePersonGaveUp) {
    story.play({{"google", "busy"},
                {"browser brisko://auth?code=c1", R"(asks native{"code":"c1"})"},
                {"accept", "no busy; no asks; reports none"}});
    const auto expectError = [this](auto failure, Text error) {
        account.emplace();
        start();
        spawn(view->googleSignIn());
        account->browser.answer.fail(std::make_exception_ptr(failure));
        EXPECT_EQ(view->state().error.value_or(""), error);
    };
    expectError(WebAuthenticationError("Closed", WebAuthenticationError::cancelledLogin), "");
    expectError(WebAuthenticationError("No browser", 2), "No browser");
    expectError(BriskoAPI::Failure("Nothing came back."), "Nothing came back.");
}
