#include "account/AuthView.h"

#include "fakes/FakeAccount.h"

#include <gtest/gtest.h>

namespace {

using Mode = AuthView::Mode;
using Field = AuthView::Field;
using Names = std::vector<std::optional<std::string>>;

class AuthViewTest : public testing::Test {
protected:
    FakeAccount account;
    Names signedIn; ///< what each successful sign-in reported
    std::shared_ptr<AuthView> view = makeView(account);
    std::string drawn = describe();

    std::shared_ptr<AuthView> makeView(FakeAccount& from) {
        auto made = AuthView::make(
            from.api, from.remembered, from.workspace,
            [this, &from](const std::optional<SecretText>& password) {
                EXPECT_EQ(from.webData.cookies, from.jar.cookies) << "reported before the hand-over";
                signedIn.push_back(password ? std::optional(std::string(password->view())) : std::nullopt);
            });
        made->changed = [this] { drawn = view ? describe() : drawn; };
        return made;
    }
    void TearDown() override {
        EXPECT_TRUE(account.http.pending.empty()) << "a request was left open";
        EXPECT_TRUE(!view || drawn == describe()) << "a change was not announced";
    }
    std::string describe() const {
        const auto& state = view->state();
        const auto focus = state.focused ? std::to_string(static_cast<int>(*state.focused)) : "nowhere";
        return std::to_string(static_cast<int>(state.mode)) + state.identifier + "," +
               std::string(state.password.view()) + "," + state.email + "," + state.captchaAnswer + "," +
               shownImage() + "," + focus + "," + messages() +
               (state.revealPassword ? " revealed" : " masked") + (state.busy ? " busy" : " idle");
    }
    /// What a person reads below the fields: the error and the notice.
    std::string messages() const {
        return view->state().error.value_or("") + "|" + view->state().notice.value_or("");
    }
    std::string shownImage() const { return view->state().captcha ? view->state().captcha->token : ""; }

    void fill(const std::string& identifier, const std::string& password) {
        view->type(Field::identifier, identifier);
        view->type(Field::password, password);
    }
    void fillSignUp() {
        view->switchTo(Mode::signUp);
        fill("ann", "secret");
        view->type(Field::captcha, "typed");
        answerImage("t1");
    }
    void fillReset() {
        view->switchTo(Mode::forgot);
        view->type(Field::email, "ann@mail.example");
    }
    void answerImage(const std::string& token, std::size_t index = 0) {
        account.http.answer(200, R"({"token":")" + token + R"(","image":"data:image/png;base64,AQID"})",
                            index);
    }
    void answerImageIfAsked() {
        if (!account.http.pending.empty())
            answerImage("t1");
    }
    /// The latest request: its path and its body.
    std::string sent() const {
        return account.http.sent.back().url.path() + " " + account.http.sent.back().body;
    }
};

} // namespace

TEST_F(AuthViewTest, opensWhereThePersonHasToTypeFirst) {
    view->appeared();
    EXPECT_EQ(view->state().focused, Field::identifier);
    account.remembered.setUsername("ann");
    view = makeView(account);
    view->appeared();
    EXPECT_EQ(view->state().identifier, "ann");
    EXPECT_EQ(view->state().focused, Field::password);
    EXPECT_TRUE(account.http.sent.empty());
}

TEST_F(AuthViewTest, mayBeSubmittedOnceWhatTheModeNeedsIsThere) {
    struct Case {
        Mode mode;
        const char *identifier, *password, *email, *answer;
        bool ready;
    };
    const Case cases[] = {{Mode::signIn, " ", " ", "", "", true},
                          {Mode::signIn, "", "secret", "a@b", "x", false},
                          {Mode::signIn, "ann", "", "a@b", "x", false},
                          {Mode::signUp, "ann", "secret", "", "x", true},
                          {Mode::signUp, "ann", "secret", "a@b", "", false},
                          {Mode::signUp, "", "secret", "a@b", "x", false},
                          {Mode::signUp, "ann", "", "a@b", "x", false},
                          {Mode::forgot, "", "", "@", "", true},
                          {Mode::forgot, "ann@mail.example", "secret", "ann", "x", false}};
    for (const auto& row : cases) {
        view->switchTo(row.mode);
        answerImageIfAsked();
        fill(row.identifier, row.password);
        view->type(Field::email, row.email);
        view->type(Field::captcha, row.answer);
        EXPECT_EQ(view->canSubmit(), row.ready) << describe();
        if (!row.ready)
            spawn(view->go());
        EXPECT_TRUE(account.http.pending.empty()) << describe();
    }
}

TEST_F(AuthViewTest, tabGoesRoundTheFieldsOnTheScreenAndLeavesTheRestToTheSystem) {
    struct Case {
        Mode mode;
        std::optional<Field> from;
        int step;
        std::optional<Field> to; ///< none: not handled
    };
    for (const auto& row : std::vector<Case>{{Mode::signIn, Field::identifier, +1, Field::password},
                                             {Mode::signIn, Field::password, +1, Field::identifier},
                                             {Mode::signIn, Field::identifier, -1, Field::password},
                                             {Mode::signUp, Field::identifier, -1, Field::captcha},
                                             {Mode::signUp, Field::identifier, +1, Field::email},
                                             {Mode::signUp, Field::email, +1, Field::password},
                                             {Mode::signUp, Field::captcha, +1, Field::identifier},
                                             {Mode::signIn, Field::email, +1, std::nullopt},
                                             {Mode::signIn, std::nullopt, -1, std::nullopt},
                                             {Mode::forgot, Field::email, +1, std::nullopt}}) {
        view->switchTo(row.mode);
        answerImageIfAsked();
        view->focus(row.from);
        EXPECT_EQ(view->move(row.step), row.to.has_value()) << describe();
        EXPECT_EQ(view->state().focused, row.to ? row.to : row.from) << describe();
    }
}

TEST_F(AuthViewTest, signInSendsOnceWhatWasTypedRemembersTheNameAndReportsThePassword) {
    fill(" Ann ", " secret ");
    spawn(view->go());
    EXPECT_TRUE(view->state().busy);
    EXPECT_FALSE(view->canSubmit());
    EXPECT_EQ(sent(), R"(/api/auth/login {"password":" secret ","username":" Ann "})");
    fill("bob", "other");
    spawn(view->go());
    EXPECT_EQ(account.http.sent.size(), 1U);
    EXPECT_EQ(account.remembered.username(), "");
    account.acceptSignIn();
    EXPECT_EQ(signedIn, Names({" secret "}));
    EXPECT_EQ(account.remembered.username(), "Ann");
    EXPECT_FALSE(view->state().busy);
    EXPECT_EQ(view->state().password.view(), "other");
}

TEST_F(AuthViewTest, aFailedSubmitSaysWhyKeepsTheFieldsAndCanBeTriedAgain) {
    using Step = std::function<void()>;
    const std::pair<Step, std::string> faults[] = {
        {[this] { account.http.answer(401, R"({"error":"Wrong password."})"); }, "Wrong password.|"},
        {[this] { account.http.fail(TransportError(TransportError::Reason::timedOut, "Timed out")); },
         "Timed out|"}};
    for (const auto& fillForm : {Step([this] { fill("ann", "secret"); }), Step([this] { fillReset(); })}) {
        fillForm();
        for (const auto& [fault, shown] : faults) {
            spawn(view->go());
            EXPECT_EQ(messages(), "|") << "the previous message still stands";
            fault();
            EXPECT_EQ(messages(), shown);
            EXPECT_TRUE(view->canSubmit());
        }
    }
    EXPECT_EQ(view->state().password.view(), "secret");
    EXPECT_TRUE(signedIn.empty());
    EXPECT_TRUE(account.defaults.values.empty());
    EXPECT_EQ(account.webData.started, 0);
}

TEST_F(AuthViewTest, aResetLinkIsAnnouncedAndNobodyIsSignedIn) {
    fillReset();
    for (const std::string notice : {"Look in your mail.", "Once more."}) {
        spawn(view->go());
        EXPECT_EQ(messages(), "|");
        account.http.answer(200, Json({{"message", notice}}).dump());
        EXPECT_EQ(messages(), "|" + notice);
    }
    EXPECT_EQ(view->state().mode, Mode::forgot);
    EXPECT_TRUE(signedIn.empty());
}

TEST_F(AuthViewTest, signUpAnswersTheImageThatIsShownAndGetsANewOneWhenItFails) {
    fillSignUp();
    spawn(view->go());
    EXPECT_EQ(sent(),
              "/api/auth/register {\"captchaAnswer\":\"typed\",\"captchaToken\":\"t1\",\"email\":\"\","
              "\"password\":\"secret\",\"username\":\"ann\"}");
    account.http.answer(400, R"({"error":"Wrong characters."})");
    EXPECT_EQ(messages(), "Wrong characters.|");
    EXPECT_FALSE(view->canSubmit()) << "before there is an image to answer";
    answerImage("t2");
    EXPECT_EQ(messages(), "Wrong characters.|");
    EXPECT_EQ(shownImage(), "t2");
    EXPECT_EQ(view->state().captchaAnswer, "typed");
    spawn(view->go());
    account.acceptSignIn();
    EXPECT_EQ(signedIn, Names({"secret"}));
    EXPECT_EQ(account.remembered.username(), "ann");
}

TEST_F(AuthViewTest, aSignUpWithoutAnImageSendsNothingButFetchesOne) {
    fillSignUp();
    spawn(view->loadCaptcha());
    account.http.answer(200, "{}");
    EXPECT_EQ(messages(), "Could not load the verification image.|");
    spawn(view->go());
    EXPECT_EQ(messages(), "Reload the verification image.|");
    EXPECT_EQ(sent(), "/api/auth/captcha ");
    answerImage("t2");
    EXPECT_EQ(shownImage(), "t2");
    EXPECT_TRUE(view->canSubmit());
}

TEST_F(AuthViewTest, anImageThatCannotBeFetchedIsTakenAwayAndSaidUnlessTheRequestWasCancelled) {
    using Reason = TransportError::Reason;
    fillSignUp();
    for (const auto reason : {Reason::cancelled, Reason::timedOut}) {
        spawn(view->loadCaptcha());
        account.http.fail(TransportError(reason, "told to nobody"));
        const auto said = reason != Reason::cancelled;
        EXPECT_EQ(shownImage(), said ? "" : "t1");
        EXPECT_EQ(messages(),
                  said ? "Could not load the verification image. Check your connection and try again.|"
                       : "|");
    }
    EXPECT_EQ(view->state().captchaAnswer, "typed");
}

TEST_F(AuthViewTest, ofTwoLoadsTheOneThatEndsLastGivesTheImage) {
    for (const auto firstToEnd : {0U, 1U}) {
        view->switchTo(Mode::signUp);
        spawn(view->loadCaptcha());
        ASSERT_EQ(account.http.pending.size(), 2U);
        answerImage("early", firstToEnd);
        EXPECT_EQ(shownImage(), "early");
        answerImage("late");
        EXPECT_EQ(shownImage(), "late");
    }
}

TEST_F(AuthViewTest, aLoadWhoseModeIsLeftLeavesNoTrace) {
    for (const auto underWay : {false, true}) {
        account.http.underWay = underWay;
        view->switchTo(Mode::signUp);
        spawn(view->loadCaptcha());
        view->switchTo(Mode::signIn);
        ASSERT_EQ(account.http.pending.size(), underWay ? 2U : 0U);
        if (underWay) {
            answerImage("stale");
            account.http.answer(200, "{}");
        }
        EXPECT_EQ(shownImage() + messages(), "|");
    }
    // The form that is entered again does not get the image of the one that was left.
    view->switchTo(Mode::signUp);
    view->switchTo(Mode::signUp);
    answerImage("stale");
    EXPECT_EQ(shownImage(), "");
    answerImage("t2");
    EXPECT_EQ(shownImage(), "t2");
}

TEST_F(AuthViewTest, leavingTheFormWhileAFailedSignUpFetchesAnImageEndsTheSubmit) {
    account.remembered.setUsername("ann");
    fillSignUp();
    spawn(view->go());
    account.http.answer(500);
    view->switchTo(Mode::signIn);
    EXPECT_EQ(messages(), "|");
    EXPECT_TRUE(view->canSubmit());
}

TEST_F(AuthViewTest, aModeIsEnteredFreshButKeepsThePasswordAndTheAddress) {
    account.remembered.setUsername("ann");
    fill("bob", "secret");
    view->type(Field::email, "a@b");
    struct Case {
        Mode mode;
        std::string identifier;
        Field focused;
    };
    for (const auto& row : std::vector<Case>{{Mode::signUp, "", Field::identifier},
                                             {Mode::signIn, "ann", Field::identifier},
                                             {Mode::signUp, "", Field::identifier},
                                             {Mode::forgot, "ann", Field::email}}) {
        view->type(Field::captcha, "typed");
        spawn(view->go());
        while (!account.http.pending.empty())
            account.http.answer(500);
        view->switchTo(row.mode);
        EXPECT_EQ(view->state().identifier, row.identifier);
        EXPECT_EQ(view->state().focused, row.focused);
        EXPECT_EQ(view->state().captchaAnswer + shownImage() + messages(), "|");
        EXPECT_EQ(std::string(view->state().password.view()) + view->state().email, "secreta@b");
        EXPECT_EQ(account.http.pending.size(), row.mode == Mode::signUp ? 1U : 0U);
        answerImageIfAsked();
    }
    spawn(view->go());
    account.http.answer(200);
    view->pressFooter();
    EXPECT_EQ(view->state().mode, Mode::signIn);
    EXPECT_EQ(messages(), "|") << "the notice still stands";
    view->pressFooter();
    EXPECT_EQ(view->state().mode, Mode::forgot);
}

TEST_F(AuthViewTest, aGoogleSignInReportsNoPasswordAndRemembersNobody) {
    fillReset();
    spawn(view->go());
    account.http.answer(200, R"({"message":"Sent."})");
    spawn(view->googleSignIn());
    EXPECT_TRUE(view->state().busy);
    EXPECT_EQ(messages(), "|Sent.");
    account.browser.answer.resolve("brisko://auth?code=c1");
    EXPECT_EQ(sent(), R"(/api/auth/native {"code":"c1"})");
    account.acceptSignIn();
    EXPECT_EQ(signedIn, Names({std::nullopt}));
    EXPECT_TRUE(account.defaults.values.empty());
    EXPECT_FALSE(view->state().busy);
}

TEST_F(AuthViewTest, aGoogleSignInSaysWhatWentWrongUnlessThePersonGaveUp) {
    const auto failure = [](auto error) { return std::make_exception_ptr(std::move(error)); };
    for (const auto& [error, shown] : std::vector<std::pair<std::exception_ptr, std::string>>{
             {failure(WebAuthenticationError("Closed", WebAuthenticationError::cancelledLogin)), "|"},
             {failure(Error("Code 1 of another source", 1)), "|"},
             {failure(WebAuthenticationError("No browser", 2)), "No browser|"},
             {failure(BriskoAPI::Failure("Google did not send anything back.")),
              "Google did not send anything back.|"}}) {
        FakeAccount other;
        view = makeView(other);
        fill("ann", "secret");
        spawn(view->go());
        other.http.answer(500);
        spawn(view->googleSignIn());
        EXPECT_EQ(messages(), "|") << "the previous error still stands";
        other.browser.answer.fail(error);
        EXPECT_EQ(messages(), shown);
        EXPECT_TRUE(view->canSubmit());
        view.reset();
    }
    EXPECT_TRUE(signedIn.empty());
}

TEST_F(AuthViewTest, thatIsReleasedGivesUpALoadButSeesASubmitThrough) {
    fillSignUp();
    spawn(view->loadCaptcha());
    view->changed = nullptr;
    view.reset();
    EXPECT_TRUE(account.http.pending.empty());
    view = makeView(account);
    fill("ann", "secret");
    spawn(view->go());
    view->changed = nullptr;
    view.reset();
    account.acceptSignIn();
    EXPECT_EQ(signedIn, Names({"secret"}));
}
