#include "lock/PasscodeView.h"

#include "fakes/FakeAccount.h"
#include "lock/PasscodeStore.h"
#include "lock/PasscodeText.h"

namespace {

using namespace std::chrono_literals;

const Passcode::Shape shape{"ann", 4};
PasscodeView::Setup setUp(std::optional<SecretText> password, const char* username = "ann") {
    return {username, std::move(password)};
}

/// The screen, and ann in front of it, whose passcode is 1234 and whose password is "secret".
class PasscodeViewTest : public testing::Test {
protected:
    FakeAccount account;
    FakeMainQueue queue;
    PasscodeStore store;
    std::shared_ptr<PasscodeView> view;

    void SetUp() override { seal(); }
    void seal() {
        store.set("1234");
        kept = store.shape();
    }
    /// Shows the screen in a mode, and returns all its texts.
    std::string show(PasscodeView::Mode mode) {
        PasscodeView::Callbacks callbacks;
        callbacks.onUnlocked = [this] { happened += " -> unlocked"; };
        callbacks.onPassword = [this] { happened += " -> sign-in"; };
        callbacks.onDone = [this] { happened += " -> done"; };
        view =
            PasscodeView::make(std::move(mode), callbacks, store.passcode, account.api, store.clock, queue);
        view->changed = [this] { drawn = view ? draw() : drawn; };
        view->appeared();
        wrong = view->state().wrong;
        std::string text = view->title();
        for (const auto& button : view->buttons())
            text += button.shown ? " [" + button.label + "]" : "";
        return text + (view->note() ? " And a note." : "");
    }
    /// The steps are codes to type, "password …" to type and confirm one, the labels of buttons, times that
    /// pass, and those in the table. After each is seen what the screen has drawn, and what has happened by
    /// it.
    void expect(const std::string& taken, const std::string& seen) {
        walk(taken, seen, [this](const std::string& step) {
            take(step);
            if (view && std::exchange(wrong, view->state().wrong) != view->state().wrong)
                happened = ", shaken" + happened;
            const auto keeps = store.shape() + (store.keychain.item ? "" : " at all");
            if (std::exchange(kept, keeps) != keeps)
                happened = ", keeps " + keeps + happened;
            return drawn + std::string(account.http.pending.size(), '>') + std::exchange(happened, "");
        });
    }

private:
    void take(const std::string& step) {
        for (const auto& button : view ? view->buttons() : std::vector<PasscodeView::Button>())
            if (button.label == step && button.shown)
                return button.press();
        if (const auto known = steps.find(step); known != steps.end()) {
            known->second();
        } else if (step.starts_with("password")) {
            view->typePassword(
                SecretText(std::string_view(step).substr(std::min<std::size_t>(9, step.size()))));
            spawn(view->checkPassword());
        } else if (step.ends_with("ms")) {
            const std::chrono::milliseconds time(std::stol(step));
            store.clock.time += time;
            view->tick();
            queue.advance(time);
        } else {
            view->edit(SecretText(std::string_view(step)));
        }
    }
    /// The message, or else the step; what is typed, with "|" where the keyboard is.
    std::string draw() const {
        constexpr std::array names = {"code", "password", "choose", "again"};
        const auto& state = view->state();
        return view->message().value_or(names.at(static_cast<std::size_t>(state.step))) + " " +
               std::string(state.code.view()) + (state.focused ? "|" : ".") + (state.busy ? " busy" : "");
    }

    std::string drawn, happened, kept;
    bool wrong = false;
    const std::map<std::string, std::function<void()>> steps = {
        {"accept", [this] { account.acceptSignIn(); }},
        {"refuse", [this] { account.http.answer(401, R"({"error":"Wrong password."})"); }},
        {"cut", [this] { account.http.fail(TransportError(TransportError::Reason::other, "No route.")); }},
        {"hold", [this] { store.keychain.hold = account.webData.hold = true; }},
        {"release keyring", [this] { store.keychain.open(); }},
        {"release page", [this] { account.webData.open(); }},
        {"gone", [this] { store.keychain.unavailable = "It is locked."; }},
        {"back", [this] { store.keychain.unavailable.reset(); }},
        {"full", [this] { store.keychain.refusal = Keychain::Refused("Full."); }},
        {"room", [this] { store.keychain.refusal.reset(); }},
        {"damage", [this] { store.keychain.item = "{}"; }},
        {"eight", [this] { view->chooseLength(8); }},
        {"click", [this] { view->clickDots(); }},
        {"look away", [this] { view->focus(false); }},
        {"escape", [this] { happened += view->cancel() ? "" : ", not left"; }},
        {"vanish", [this] { view.reset(); }},
    };
};

} // namespace

TEST_F(PasscodeViewTest, unlocksByUnsealingThePasswordAndSigningInWithIt) {
    EXPECT_EQ(show(PasscodeView::Unlock{shape}),
              "Enter your passcode to sign in as ann. [Use your password instead]");
    // What is typed while the try runs changes nothing and submits nothing.
    expect("123        1234             12345            1111",
           "code 123|  code 1234| busy>  code 1234| busy>  code 1234| busy>");
    EXPECT_EQ(account.http.sent.back().body, R"({"password":"secret","username":"ann"})");
    expect("accept", "code 1234| -> unlocked");
    EXPECT_EQ(account.webData.log, std::vector<std::string>{"set brisko_session"});

    // What was sealed does not sign in: it goes.
    show(PasscodeView::Unlock{shape});
    expect("1234             cut",
           "code 1234| busy>  No route. Sign in with your password. |, keeps none at all");
}

TEST_F(PasscodeViewTest, countsWrongTriesDownToALockOutThatEndsByItself) {
    EXPECT_EQ(show(PasscodeView::Relock{shape}),
              "Locked. Enter your passcode to carry on. [Sign out instead]");
    expect("9999                                      9        9999",
           "Wrong passcode. 2 tries left. |, shaken  code 9|  Wrong passcode. One more try. |, shaken");
    expect("9999", "Too many wrong tries. Try again in 5:00. ., shaken");
    expect("1234                                       click",
           "Too many wrong tries. Try again in 5:00. .  Too many wrong tries. Try again in 5:00. .");
    expect("239000 ms", "Too many wrong tries. Try again in 1:01. .");
    // Somebody who leaves and comes back finds the same lock-out.
    show(PasscodeView::Relock{shape});
    expect("60800 ms                                   199 ms",
           "Too many wrong tries. Try again in 0:01. .  Too many wrong tries. Try again in 0:01. .");
    expect("1 ms    x1y2z3-4567", "code |  code 1234| -> unlocked");
}

TEST_F(PasscodeViewTest, choosesAndConfirmsAPasscodeOfTheChosenLength) {
    EXPECT_EQ(show(setUp(SecretText("secret"))),
              "Choose a passcode for this Mac. [Not now] [Turn the passcode off] And a note.");
    store.clear();
    EXPECT_EQ(show(setUp(SecretText("secret"))), "Choose a passcode for this Mac. [Not now] And a note.");
    expect("12         eight     12345678  12345679",
           "choose 12|, keeps none at all  choose |  again |   Those did not match. Start again. |");
    EXPECT_TRUE(view->state().first.empty());
    expect("12345678  12345678", "again |   again 12345678|, keeps 8 ann -> done");
}

TEST_F(PasscodeViewTest, asksOnceForAPasswordThatItDoesNotKnow) {
    EXPECT_EQ(show(setUp(std::nullopt)),
              "Your password once, so the passcode has something to unlock. [Not now] [Turn "
              "the passcode off] And a note.");
    expect("password    password guess      password more       refuse",
           "password |  password | busy>  password | busy>  Wrong password. |");
    expect("password secret    accept", "password | busy>  choose |");
    EXPECT_EQ(account.http.sent.back().body, R"({"password":"secret","username":"ann"})");
    show(setUp(std::nullopt, ""));
    expect("password secret", "Sign in with a username and password first. |");
}

TEST_F(PasscodeViewTest, changesThePasscodeForOneOfAnotherLength) {
    EXPECT_EQ(show(PasscodeView::Change{shape, 6}), "Enter your current passcode. [Cancel]");
    expect("1234", "choose |");
    EXPECT_EQ(view->title(), "Choose the new passcode.");
    expect("654321   654321", "again |  again 654321|, keeps 6 ann -> done");
    EXPECT_EQ(view->title(), "Enter it again.");
}

TEST_F(PasscodeViewTest, tellsAKeyringThatCannotBeAskedFromABrokenRecordInEveryMode) {
    const std::function<PasscodeView::Mode()> modes[] = {[] { return PasscodeView::Unlock{shape}; },
                                                         [] { return PasscodeView::Relock{shape}; },
                                                         [] { return PasscodeView::Change{shape, 6}; }};
    const std::string gone = "The keyring could not be opened: It is locked. |  ";
    for (const auto& mode : modes) {
        seal();
        show(mode());
        expect("gone    1234  1234  1234  back", "code |  " + gone + gone + gone + gone);
        // None of these tries was counted. Only a sign-in has another screen to go to.
        expect("9999", "Wrong passcode. 2 tries left. |, shaken");
        const std::string left = view->mode().index() == 0 ? " -> sign-in" : "";
        expect("damage  1234", "Wrong passcode. 2 tries left. |  The saved passcode could not be read. Sign "
                               "in with your password. |, keeps none at all, shaken" +
                                   left);
    }
    show(setUp(SecretText("secret")));
    expect("5678     gone     5678  full", "again |  again |  " + gone + gone);
    // The same code once more stores it.
    expect("back", gone);
    expect("5678", "The keychain would not store it: Full. 5678|");
    expect("room                                         5678",
           "The keychain would not store it: Full. 5678|  again 5678|, keeps 4 ann -> done");
}

TEST_F(PasscodeViewTest, leavesThroughItsButtonsOnce) {
    show(setUp(SecretText("secret")));
    expect("Turn the passcode off                     escape",
           "choose |, keeps none at all -> done  choose |");
    seal();
    show(PasscodeView::Unlock{shape});
    expect("1234               Use your password instead                      accept",
           "code 1234| busy>  code 1234| busy>, keeps none at all -> sign-in  code 1234|");
    seal();
    show(PasscodeView::Relock{shape});
    // The passcode goes before the session has ended.
    expect("escape            hold    Sign out instead  release keyring        release page",
           "code |, not left  code |  code |, keeps none  code |, keeps none at all  code | -> sign-in");
}

TEST_F(PasscodeViewTest, waitsForAKeyringThatIsBeingOpenedAndSurvivesItsScreen) {
    show(PasscodeView::Relock{shape});
    expect("hold    1234             4321             vanish           release keyring",
           "code |  code 1234| busy  code 1234| busy  code 1234| busy  code 1234| busy -> unlocked");
}

TEST_F(PasscodeViewTest, takesTheKeyboardOnceMoreAMomentAfterItAppeared) {
    show(PasscodeView::Change{shape, 6});
    expect("look away  50 ms   click   escape          look away  50 ms",
           "code .     code |  code |  code | -> done  code .     code .");
}

TEST(PasscodeText, keepsTheNumbersOfEveryScriptAndNothingElse) {
    const std::pair<const char*, const char*> cases[] = {{"a1-2", "12"}, {"x1y2z3-4567", "1234"},
                                                         {"١२", "١२"},   {"½Ⅻ三", "½Ⅻ三"},
                                                         {"1️⃣x", "1️⃣"},    {" \u200b", ""}};
    for (const auto& [typed, kept] : cases)
        EXPECT_EQ(PasscodeText::numbers(typed, 4), kept) << typed;
}
