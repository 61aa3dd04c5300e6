#include "lock/PasscodeView.h"

#include "fakes/FakeAccount.h"
#include "fakes/FakeLock.h"
#include "lock/PasscodeText.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

const Passcode::Shape shape{"ann", 4};
const std::string signIn = "Enter your passcode to sign in as ann. ",
                  current = "Enter your current passcode. ",
                  locked = "Locked. Enter your passcode to carry on. ",
                  choose = "Choose a passcode for this Mac. ", again = "Enter it again. ",
                  tooMany = "Too many wrong tries. Try again in ",
                  once = "Your password once, so the passcode has something to unlock. ",
                  gone = "The keyring could not be opened: It is locked. [|]",
                  broken = "The saved passcode could not be read. Sign in with your password. [|] shaken",
                  request = R"( > {"password":"secret","username":"ann"})";

/// The screen, and ann in front of it, whose passcode is 1234 and whose password is "secret". Each step tells
/// what she sees, and what has happened since the one before.
class PasscodeViewTest : public testing::Test {
protected:
    FakeAccount account;
    FakeClock clock;
    FakeMainQueue queue;
    FakeKeychain keychain;
    Passcode store{keychain, account.defaults, clock, deriveInOneRound};
    std::shared_ptr<PasscodeView> view;

    void SetUp() override { seal(); }
    void seal() { spawn(store.set(SecretText("1234"), "ann", SecretText("secret"))); }
    std::string show(PasscodeView::Mode mode) {
        PasscodeView::Callbacks callbacks;
        callbacks.onUnlocked = [this] { happened += " -> unlocked"; };
        callbacks.onPassword = [this] { happened += " -> password"; };
        callbacks.onDone = [this] { happened += " -> done"; };
        view = PasscodeView::make(std::move(mode), callbacks, store, account.api, clock, queue);
        wrong = view->state().wrong;
        view->changed = [this] { drawn = view ? draw() : drawn; };
        view->appeared();
        return see() + below();
    }
    std::string setUp(std::optional<SecretText> password = SecretText("secret"),
                      const char* username = "ann") {
        return show(PasscodeView::Setup{username, std::move(password)});
    }
    std::string type(const char* code) {
        view->edit(SecretText(code));
        return see();
    }
    std::string enter(const char* password) {
        view->typePassword(SecretText(password));
        spawn(view->checkPassword());
        return see();
    }
    std::string press(const std::string& label) {
        for (const auto& button : view->buttons())
            if (button.label == label && button.shown)
                button.press();
        return see();
    }
    std::string pass(std::chrono::milliseconds time) {
        clock.time += time;
        view->tick();
        queue.advance(time);
        return see();
    }
    /// What is under the form.
    std::string below() const {
        std::string text;
        for (const auto& button : view->buttons())
            text += button.shown ? ". " + button.label : "";
        return text + (view->note() ? ". Note" : "");
    }
    std::string see() {
        auto seen = drawn;
        if (view && std::exchange(wrong, view->state().wrong) != view->state().wrong)
            seen += " shaken";
        for (; sent < account.http.sent.size(); ++sent)
            seen += " > " + account.http.sent[sent].body;
        return seen + std::exchange(happened, "");
    }
    std::string kept() const {
        const auto known = store.shape();
        return known           ? std::to_string(known->digits) + " of " + known->username
               : keychain.item ? "a box"
                               : "nothing";
    }

private:
    /// The message, or the title where there is none; what is typed, with "|" where the keyboard is.
    std::string draw() const {
        const auto& state = view->state();
        return view->message().value_or(view->title()) + " [" + std::string(state.code.view()) +
               (state.focused ? "|]" : "]") + (state.busy ? " busy" : "");
    }

    std::string drawn, happened;
    std::size_t sent = 0;
    bool wrong = false;
};

} // namespace

TEST_F(PasscodeViewTest, unlocksByUnsealingThePasswordAndSigningInWithIt) {
    EXPECT_EQ(show(PasscodeView::Unlock{shape}), signIn + "[|]. Use your password instead");
    EXPECT_EQ(type("123"), signIn + "[123|]");
    EXPECT_EQ(type("1234"), signIn + "[1234|] busy" + request);
    EXPECT_EQ(type("12345") + type("1111"), signIn + "[1234|] busy" + signIn + "[1234|] busy");
    account.acceptSignIn();
    EXPECT_EQ(see(), signIn + "[1234|] -> unlocked");
    EXPECT_EQ(account.webData.log, std::vector<std::string>{"set brisko_session"});

    show(PasscodeView::Unlock{shape});
    type("1234");
    account.http.fail(TransportError(TransportError::Reason::other, "No route."));
    EXPECT_EQ(see(), "No route. Sign in with your password. [|]");
    EXPECT_EQ(kept(), "nothing") << "what was sealed does not sign in";
}

TEST_F(PasscodeViewTest, countsWrongTriesDownToALockOutThatEndsByItself) {
    EXPECT_EQ(show(PasscodeView::Relock{shape}), locked + "[|]. Sign out instead");
    EXPECT_EQ(type("9999"), "Wrong passcode. 2 tries left. [|] shaken");
    EXPECT_EQ(type("9"), locked + "[9|]") << "an error goes with the next edit";
    EXPECT_EQ(type("9999"), "Wrong passcode. One more try. [|] shaken");
    EXPECT_EQ(type("9999"), tooMany + "5:00. [] shaken");
    EXPECT_EQ(type("1234"), tooMany + "5:00. []") << "the field takes nothing during a lock-out";
    view->clickDots();
    EXPECT_EQ(pass(239s), tooMany + "1:01. []");
    EXPECT_EQ(show(PasscodeView::Relock{shape}), tooMany + "1:01. []. Sign out instead")
        << "after coming back";
    EXPECT_EQ(pass(60'800ms), tooMany + "0:01. []");
    EXPECT_EQ(pass(199ms), tooMany + "0:01. []");
    EXPECT_EQ(pass(1ms), locked + "[|]");
    EXPECT_EQ(type("x1y2z3-4567"), locked + "[1234|] -> unlocked");
}

TEST_F(PasscodeViewTest, choosesAndConfirmsAPasscodeOfTheChosenLength) {
    EXPECT_EQ(setUp(), choose + "[|]. Not now. Turn the passcode off. Note");
    spawn(store.clear());
    EXPECT_EQ(below(), ". Not now. Note");
    EXPECT_EQ(type("12"), choose + "[12|]");
    view->chooseLength(8);
    EXPECT_EQ(type("12345678"), again + "[|]");
    EXPECT_EQ(type("12345679"), "Those did not match. Start again. [|]");
    EXPECT_EQ(type("12345678"), again + "[|]");
    EXPECT_EQ(type("12345678"), again + "[12345678|] -> done");
    EXPECT_EQ(kept(), "8 of ann");
}

TEST_F(PasscodeViewTest, asksOnceForAPasswordThatItDoesNotKnow) {
    setUp(std::nullopt);
    EXPECT_EQ(enter(""), once + "[|]");
    EXPECT_EQ(enter("guess"), once + R"([|] busy > {"password":"guess","username":"ann"})");
    EXPECT_EQ(enter("secret"), once + "[|] busy");
    account.http.answer(401, R"({"error":"Wrong password."})");
    EXPECT_EQ(see(), "Wrong password. [|]");
    EXPECT_EQ(enter("secret"), once + "[|] busy" + request);
    account.http.answer(200);
    EXPECT_EQ(see(), choose + "[|]");
    setUp(std::nullopt, "");
    EXPECT_EQ(enter("secret"), "Sign in with a username and password first. [|]");
}

TEST_F(PasscodeViewTest, changesThePasscodeForOneOfAnotherLength) {
    EXPECT_EQ(show(PasscodeView::Change{shape, 6}), current + "[|]. Cancel");
    EXPECT_EQ(type("1234"), "Choose the new passcode. [|]");
    EXPECT_EQ(type("654321"), again + "[|]");
    EXPECT_EQ(type("654321"), again + "[654321|] -> done");
    EXPECT_EQ(kept(), "6 of ann");
}

TEST_F(PasscodeViewTest, tellsAKeyringThatCannotBeAskedFromABrokenRecordInEveryMode) {
    const std::function<PasscodeView::Mode()> modes[] = {[] { return PasscodeView::Unlock{shape}; },
                                                         [] { return PasscodeView::Relock{shape}; },
                                                         [] { return PasscodeView::Change{shape, 6}; }};
    for (const auto& mode : modes) {
        seal();
        show(mode());
        keychain.unavailable = "It is locked.";
        for (int time = 0; time < 4; ++time)
            EXPECT_EQ(type("1234"), gone);
        keychain.unavailable.reset();
        EXPECT_EQ(type("9999"), "Wrong passcode. 2 tries left. [|] shaken") << "none was counted before";
        keychain.item = "{}";
        const auto* left = view->mode().index() == 0 ? " -> password" : "";
        EXPECT_EQ(type("1234"), broken + left) << "only a sign-in has another screen to go to";
        EXPECT_EQ(kept(), "nothing");
    }
}

TEST_F(PasscodeViewTest, storesTheSameCodeOnceMoreAfterTheKeyringCouldNot) {
    setUp();
    type("5678");
    keychain.unavailable = "It is locked.";
    EXPECT_EQ(type("5678"), gone);
    keychain.unavailable.reset();
    keychain.refusal = Keychain::Refused("Out of space");
    EXPECT_EQ(type("5678"), "The keychain would not store it: Out of space [5678|]");
    EXPECT_EQ(kept(), "4 of ann");
    keychain.refusal.reset();
    EXPECT_EQ(type("5678"), again + "[5678|] -> done");
}

TEST_F(PasscodeViewTest, leavesThroughItsButtonsOnce) {
    setUp();
    EXPECT_EQ(press("Turn the passcode off"), choose + "[|] -> done");
    EXPECT_EQ(kept(), "nothing");
    EXPECT_TRUE(view->cancel());
    EXPECT_EQ(see(), choose + "[|]");

    seal();
    show(PasscodeView::Relock{shape});
    EXPECT_FALSE(view->cancel());
    account.webData.hold = true;
    EXPECT_EQ(press("Sign out instead"), locked + "[|]");
    EXPECT_EQ(kept(), "nothing") << "the passcode goes before the session has ended";
    account.webData.open();
    EXPECT_EQ(see(), locked + "[|] -> password");

    seal();
    show(PasscodeView::Unlock{shape});
    type("1234");
    EXPECT_EQ(press("Use your password instead"), signIn + "[1234|] busy -> password");
    account.acceptSignIn();
    EXPECT_EQ(see(), signIn + "[1234|]") << "a sign-in that comes too late unlocks nothing";
}

TEST_F(PasscodeViewTest, waitsForAKeyringThatIsBeingOpenedAndSurvivesItsScreen) {
    show(PasscodeView::Relock{shape});
    keychain.hold = true;
    EXPECT_EQ(type("1234"), locked + "[1234|] busy");
    EXPECT_EQ(type("4321"), locked + "[1234|] busy");
    view.reset();
    keychain.open();
    EXPECT_EQ(see(), locked + "[1234|] busy -> unlocked");
}

TEST_F(PasscodeViewTest, takesTheKeyboardOnceMoreAMomentAfterItAppeared) {
    show(PasscodeView::Change{shape, 6});
    view->focus(false);
    EXPECT_EQ(see(), current + "[]");
    EXPECT_EQ(pass(50ms), current + "[|]");
    view->windowBecameKey();
    view->cancel();
    view->focus(false);
    EXPECT_EQ(pass(50ms), current + "[] -> done");
}

TEST(PasscodeText, keepsTheNumbersOfEveryScriptAndNothingElse) {
    const std::pair<const char*, const char*> cases[] = {{"a1-2", "12"}, {"x1y2z3-4567", "1234"},
                                                         {"١२", "١२"},   {"½Ⅻ三", "½Ⅻ三"},
                                                         {"1️⃣x", "1️⃣"},    {" \u200b", ""}};
    for (const auto& [typed, kept] : cases)
        EXPECT_EQ(PasscodeText::numbers(typed, 4), kept) << typed;
}
