#include "lock/PasscodeView.h"

#include "fakes/FakeAccount.h"
#include "fakes/FakeLock.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace std::chrono_literals;
using Step = PasscodeView::Step;
using Texts = std::vector<std::string>;

class PasscodeViewTest : public testing::Test {
protected:
    FakeAccount account;
    FakeClock clock;
    FakeMainQueue queue;
    FakeKeychain keychain;
    Passcode store{keychain, account.defaults, clock};
    Texts called;
    std::shared_ptr<PasscodeView> view;

    void SetUp() override { spawn(store.set(SecretText("1234"), "ann", SecretText("secret"))); }
    static Passcode::Shape shape() { return {"ann", 4}; }
    /// The modes that begin with the passcode that there is.
    const std::function<PasscodeView::Mode()> openingModes[3] = {
        [] { return PasscodeView::Unlock{shape()}; }, [] { return PasscodeView::Relock{shape()}; },
        [] { return PasscodeView::Change{shape(), 4}; }};

    void show(PasscodeView::Mode mode) {
        PasscodeView::Callbacks callbacks;
        callbacks.onUnlocked = [this] { called.emplace_back("unlocked"); };
        callbacks.onPassword = [this] { called.emplace_back("password"); };
        callbacks.onDone = [this] { called.emplace_back("done"); };
        view = PasscodeView::make(std::move(mode), std::move(callbacks), store, account.api, clock, queue);
        view->appeared();
    }
    void showSetup(std::optional<std::string> password, std::string username = "ann") {
        PasscodeView::Setup setup;
        setup.username = std::move(username);
        if (password)
            setup.password.emplace(std::string_view(*password));
        show(std::move(setup));
    }
    void type(const char* text) { view->edit(SecretText(text)); }
    std::string code() const { return std::string(view->state().code.view()); }
    std::string message() const { return view->message().value_or(""); }
    void pass(std::chrono::seconds time) {
        clock.time += time;
        view->tick();
    }
    void press(const std::string& label) {
        for (const auto& button : view->buttons())
            if (button.label == label && button.shown)
                return button.press();
        ADD_FAILURE() << "no button " << label;
    }
    Texts buttons() const {
        Texts labels;
        for (const auto& button : view->buttons())
            if (button.shown)
                labels.push_back(button.label);
        return labels;
    }
};

} // namespace

TEST_F(PasscodeViewTest, unlocksByUnsealingThePasswordAndSigningInWithIt) {
    show(PasscodeView::Unlock{shape()});
    EXPECT_EQ(view->title(), "Enter your passcode to sign in as ann.");
    EXPECT_TRUE(view->state().focused);
    type("123");
    EXPECT_EQ(view->typed(), 3U);
    EXPECT_TRUE(account.http.sent.empty());
    type("1234");
    EXPECT_TRUE(view->state().busy);
    EXPECT_EQ(account.http.sent.back().body, R"({"password":"secret","username":"ann"})");
    // What is typed while the try runs changes nothing and submits nothing.
    type("12345");
    type("1111");
    EXPECT_EQ(account.http.sent.size(), 1U);
    account.acceptSignIn();
    EXPECT_EQ(called, Texts({"unlocked"}));
    EXPECT_EQ(account.webData.log, Texts({"set brisko_session"}));
    EXPECT_TRUE(store.shape());
    EXPECT_FALSE(view->state().busy);
}

TEST_F(PasscodeViewTest, countsWrongTriesDownToALockOutThatEndsByItself) {
    show(PasscodeView::Relock{shape()});
    EXPECT_EQ(view->title(), "Locked. Enter your passcode to carry on.");
    for (const auto* expected : {"Wrong passcode. 2 tries left.", "Wrong passcode. One more try."}) {
        const auto shaken = view->state().wrong;
        type("9999");
        EXPECT_EQ(message(), expected);
        EXPECT_EQ(code(), "");
        EXPECT_NE(view->state().wrong, shaken);
        EXPECT_TRUE(view->state().focused);
        type("9");
        EXPECT_EQ(message(), "") << "an error goes with the next edit";
    }
    type("9999");
    EXPECT_EQ(message(), "Too many wrong tries. Try again in 5:00.");
    EXPECT_FALSE(view->state().focused);
    type("1234");
    EXPECT_EQ(code(), "") << "the field takes nothing during a lock-out";
    view->clickDots();
    queue.advance(1s);
    EXPECT_FALSE(view->state().focused);
    pass(239s);
    EXPECT_EQ(message(), "Too many wrong tries. Try again in 1:01.");

    // Somebody who leaves and comes back finds the same lock-out.
    show(PasscodeView::Relock{shape()});
    EXPECT_EQ(message(), "Too many wrong tries. Try again in 1:01.");
    clock.time += 60s + 800ms;
    pass(0s);
    EXPECT_EQ(message(), "Too many wrong tries. Try again in 0:01.");
    pass(1s);
    EXPECT_EQ(message(), "");
    EXPECT_TRUE(view->state().focused);
    type("1234");
    EXPECT_EQ(called, Texts({"unlocked"}));
    EXPECT_TRUE(account.http.sent.empty()) << "a relock asks no service";
}

TEST_F(PasscodeViewTest, takesTheNumbersOfEveryScriptAndNothingElse) {
    show(PasscodeView::Relock{shape()});
    const std::vector<std::pair<const char*, const char*>> edits = {
        {"a1-2", "12"},
        {"\xD9\xA1\xE0\xA5\xA8", "\xD9\xA1\xE0\xA5\xA8"}, // Arabic-Indic and Devanagari digits
        {"\xC2\xBD\xE2\x85\xAB\xE4\xB8\x89",
         "\xC2\xBD\xE2\x85\xAB\xE4\xB8\x89"},                        // fraction, Roman, ideograph
        {"1\xEF\xB8\x8F\xE2\x83\xA3x", "1\xEF\xB8\x8F\xE2\x83\xA3"}, // a keycap is one character
        {" \xE2\x80\x8B", ""}};
    for (const auto& [typed, kept] : edits) {
        type(typed);
        EXPECT_EQ(code(), kept) << typed;
    }
    type("x1y2z3-4567");
    EXPECT_EQ(called, Texts({"unlocked"}));
}

TEST_F(PasscodeViewTest, choosesAndConfirmsAPasscodeOfTheChosenLength) {
    spawn(store.clear());
    showSetup("secret");
    EXPECT_EQ(view->title(), "Choose a passcode for this Mac.");
    EXPECT_EQ(buttons(), Texts({"Not now"}));
    EXPECT_TRUE(view->note());
    type("12");
    view->chooseLength(8);
    EXPECT_EQ(view->expected(), 8);
    EXPECT_EQ(code(), "");
    type("12345678");
    EXPECT_EQ(view->title(), "Enter it again.");
    type("12345679");
    EXPECT_EQ(message(), "Those did not match. Start again.");
    EXPECT_EQ(view->state().step, Step::choose);
    EXPECT_TRUE(view->state().first.empty());
    type("12345678");
    type("12345678");
    EXPECT_EQ(called, Texts({"done"}));
    EXPECT_EQ(store.shape(), (Passcode::Shape{"ann", 8}));
}

TEST_F(PasscodeViewTest, asksOnceForAPasswordThatItDoesNotKnow) {
    showSetup(std::nullopt);
    EXPECT_EQ(view->title(), "Your password once, so the passcode has something to unlock.");
    spawn(view->checkPassword());
    EXPECT_TRUE(account.http.sent.empty()) << "nothing was typed";
    view->typePassword(SecretText("guess"));
    spawn(view->checkPassword());
    spawn(view->checkPassword());
    EXPECT_EQ(account.http.sent.size(), 1U);
    account.http.answer(401, R"({"error":"Wrong password."})");
    EXPECT_EQ(message(), "Wrong password.");
    EXPECT_EQ(view->state().step, Step::password);
    view->typePassword(SecretText("secret"));
    spawn(view->checkPassword());
    account.http.answer(200);
    EXPECT_EQ(view->state().step, Step::choose);

    showSetup(std::nullopt, "");
    view->typePassword(SecretText("secret"));
    spawn(view->checkPassword());
    EXPECT_EQ(message(), "Sign in with a username and password first.");
}

TEST_F(PasscodeViewTest, changesThePasscodeForOneOfAnotherLength) {
    show(PasscodeView::Change{shape(), 6});
    EXPECT_EQ(view->title(), "Enter your current passcode.");
    EXPECT_EQ(view->expected(), 4);
    type("1234");
    EXPECT_EQ(view->title(), "Choose the new passcode.");
    EXPECT_EQ(view->expected(), 6);
    EXPECT_EQ(view->state().owner, "ann");
    type("654321");
    type("654321");
    EXPECT_EQ(called, Texts({"done"}));
    EXPECT_EQ(store.shape(), (Passcode::Shape{"ann", 6}));
}

TEST_F(PasscodeViewTest, clearsTheStoreOnlyWhenTheServiceCouldNotBeSignedInToWithWhatWasSealed) {
    show(PasscodeView::Unlock{shape()});
    type("1234");
    account.http.fail(TransportError(TransportError::Reason::other, "Connection refused"));
    EXPECT_EQ(message(), "Connection refused Sign in with your password.");
    EXPECT_FALSE(store.shape() || keychain.item);

    SetUp();
    show(PasscodeView::Unlock{shape()});
    type("9999");
    EXPECT_TRUE(store.shape());
    keychain.unavailable = "No such interface";
    type("1234");
    EXPECT_TRUE(store.shape());
}

TEST_F(PasscodeViewTest, neitherCountsNorClearsWhenTheKeyringCannotBeAsked) {
    keychain.unavailable = "The name is not activatable";
    for (const auto& mode : openingModes) {
        show(mode());
        const auto shaken = view->state().wrong;
        for (int i = 0; i < 4; ++i)
            type("1234");
        EXPECT_EQ(message(), "The keyring could not be opened: The name is not activatable");
        EXPECT_EQ(code(), "");
        EXPECT_TRUE(view->state().focused);
        EXPECT_EQ(view->state().wrong, shaken);
        EXPECT_TRUE(called.empty());
        EXPECT_TRUE(store.shape());
        EXPECT_EQ(account.defaults.value("brisko.passcode.failures"), 0);
    }
    showSetup("secret");
    type("5678");
    type("5678");
    EXPECT_EQ(message(), "The keyring could not be opened: The name is not activatable");
    keychain.unavailable.reset();
    type("5678");
    EXPECT_EQ(called, Texts({"done"})) << "the same code once more stores it";
}

TEST_F(PasscodeViewTest, tellsABrokenRecordApartByMode) {
    for (const auto& mode : openingModes) {
        SetUp();
        keychain.item = "{}";
        show(mode());
        type("1234");
        EXPECT_EQ(message(), "The saved passcode could not be read. Sign in with your password.");
        EXPECT_TRUE(view->state().focused);
        EXPECT_EQ(called, Texts({"password"})) << "only a sign-in has another screen to go to";
        EXPECT_FALSE(store.shape());
    }
}

TEST_F(PasscodeViewTest, keepsTheCodeWhenTheKeyringRefusesIt) {
    showSetup("secret");
    keychain.refusal = Keychain::Refused("Out of space");
    type("5678");
    type("5678");
    EXPECT_EQ(message(), "The keychain would not store it: Out of space");
    EXPECT_EQ(code(), "5678");
    EXPECT_EQ(view->state().step, Step::confirm);
    EXPECT_EQ(store.shape(), shape()) << "the earlier passcode still stands";
}

TEST_F(PasscodeViewTest, leavesThroughItsButtonsOnce) {
    showSetup("secret");
    EXPECT_EQ(buttons(), Texts({"Not now", "Turn the passcode off"}));
    press("Turn the passcode off");
    EXPECT_EQ(called, Texts({"done"}));
    EXPECT_FALSE(store.shape());
    EXPECT_TRUE(view->cancel());
    EXPECT_EQ(called.size(), 1U);

    SetUp();
    called.clear();
    show(PasscodeView::Relock{shape()});
    EXPECT_FALSE(view->cancel());
    account.webData.hold = true;
    press("Sign out instead");
    EXPECT_FALSE(store.shape()) << "the passcode goes before the session has ended";
    EXPECT_TRUE(called.empty());
    account.webData.release();
    EXPECT_EQ(called, Texts({"password"}));

    SetUp();
    called.clear();
    show(PasscodeView::Unlock{shape()});
    type("1234");
    press("Use your password instead");
    EXPECT_EQ(called, Texts({"password"}));
    account.webData.hold = false;
    account.acceptSignIn();
    EXPECT_EQ(called, Texts({"password"})) << "a sign-in that comes too late unlocks nothing";
}

TEST_F(PasscodeViewTest, waitsForAKeyringThatIsBeingOpenedAndSurvivesItsScreen) {
    keychain.hold = true;
    show(PasscodeView::Relock{shape()});
    type("1234");
    EXPECT_TRUE(view->state().busy);
    type("4321");
    EXPECT_EQ(code(), "1234") << "edits wait until the try is over";
    view.reset();
    keychain.hold = false;
    keychain.release();
    EXPECT_EQ(called, Texts({"unlocked"}));
}
