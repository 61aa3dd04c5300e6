#include "lock/PasscodeView.h"

#include "fakes/FakeAccount.h"
#include "lock/PasscodeStore.h"

namespace {

using Text = const std::string&;

/// The screen, and ann in front of it, whose passcode is 1234 and whose password is "secret".
class PasscodeViewTest : public testing::Test {
protected:
    FakeAccount account;
    FakeMainQueue queue;
    PasscodeStore store;
    std::shared_ptr<PasscodeView> view;
    Scenario::Sight drawn = Scenario::Sight(6);
    Scenario story{[this] { return sight(); }, deeds()};

    void SetUp() override { store.set("1234"); }
    void show(Text name) {
        PasscodeView::Mode mode = PasscodeView::Setup{name == "ask-nobody" ? "" : "ann", {}};
        if (name == "setup")
            mode = PasscodeView::Setup{"ann", SecretText("secret")};
        else if (name == "unlock")
            mode = PasscodeView::Unlock{{"ann", 4}};
        else if (name == "relock")
            mode = PasscodeView::Relock{{"ann", 4}};
        else if (name == "change")
            mode = PasscodeView::Change{{"ann", 4}, 6};
        const auto leaving = [this](Text where) { return [this, where] { tell("-> " + where); }; };
        view = PasscodeView::make(std::move(mode), {leaving("unlocked"), leaving("sign-in"), leaving("done")},
                                  store.passcode, account.api, store.clock, queue);
        view->changed = [this] { draw(); };
        view->appeared();
    }
    void tell(Text what) { story.said += (story.said.empty() ? "" : ", ") + what; }
    void draw() {
        const auto& state = view->state();
        drawn = {{"", view->title()},
                 {"shaken", Scenario::flag(state.wrong)},
                 {"says", view->message().value_or("")},
                 {"typed", std::string(state.code.view())},
                 {"keyboard", Scenario::flag(state.focused)},
                 {"busy", Scenario::flag(state.busy)}};
    }
    Scenario::Sight sight() const {
        auto seen = drawn;
        seen.emplace_back("asks",
                          account.http.pending.empty() ? "" : account.http.pending.back()->request.body);
        seen.emplace_back("keeps", store.shape() + (store.keychain.item ? " in the keyring" : ""));
        return seen;
    }
    /// The first button, or the last.
    void press(Text which) {
        const auto buttons = view->buttons();
        (which == "last" ? buttons.back() : buttons.front()).press();
    }
    void pass(Text milliseconds) {
        const std::chrono::milliseconds time(std::stol(milliseconds));
        store.clock.time += time;
        view->tick();
        queue.advance(time);
    }
    Scenario::Deeds deeds() {
        return {{"show", [this](Text mode) { show(mode); }},
                {"type", [this](Text code) { view->edit(SecretText(std::string_view(code))); }},
                {"password",
                 [this](Text text) {
                     view->typePassword(SecretText(std::string_view(text))), spawn(view->checkPassword());
                 }},
                {"press", [this](Text which) { press(which); }},
                {"pass", [this](Text milliseconds) { pass(milliseconds); }},
                {"escape", [this](Text) { view->cancel() ? void() : tell("not left"); }},
                {"accept", [this](Text) { account.acceptSignIn(); }},
                {"refuse", [this](Text) { account.http.answer(401, R"({"error":"Wrong password."})"); }},
                {"hold", [this](Text) { store.keychain.hold = account.webData.hold = true; }},
                {"release",
                 [this](Text what) { what == "page" ? account.webData.open() : store.keychain.open(); }},
                {"eight", [this](Text) { view->chooseLength(8); }},
                {"click", [this](Text) { view->clickDots(); }},
                {"look-away", [this](Text) { view->focus(false); }},
                {"vanish", [this](Text) { view->changed = nullptr, view.reset(); }},
                {"damage", [this](Text) { store.keychain.item = "{}"; }},
                {"store", [this](Text how) { store.story.play({{how, ""}}); }}};
    }
};

} // namespace

TEST_F(PasscodeViewTest, unlocksByUnsealingThePasswordAndSigningInWithIt) {
    story.play({{"show unlock", " Enter your passcode to sign in as ann.; keyboard"},
                // What is typed while the try runs changes nothing and submits nothing.
                {"type 123", "typed 123"},
                {"type 1234", R"(typed 1234; busy; asks {"password":"secret","username":"ann"})"},
                {"type 12345, type 1111", ""},
                {"accept", "-> unlocked; no busy; no asks"},
                // What was sealed does not sign in: it goes.
                {"show unlock, type 1234, refuse",
                 "says Wrong password. Sign in with your password.; no typed; keeps none"}});
    EXPECT_EQ(account.webData.cookies, account.jar.cookies);
}

TEST_F(PasscodeViewTest, countsWrongTriesDownToALockOutThatEndsByItself) {
    story.play({{"show relock", " Locked. Enter your passcode to carry on.; keyboard"},
                {"type 9999", "shaken; says Wrong passcode. 2 tries left."},
                {"type 9", "no says; typed 9"},
                {"type 9999", "no shaken; says Wrong passcode. One more try.; no typed"},
                {"type 9999", "shaken; says Too many wrong tries. Try again in 5:00.; no keyboard"},
                {"type 1234, click", ""},
                {"pass 239000", "says Too many wrong tries. Try again in 1:01."},
                // Somebody who leaves and comes back finds the same lock-out.
                {"show relock, pass 60800", "no shaken; says Too many wrong tries. Try again in 0:01."},
                {"pass 200", "no says; keyboard"},
                {"type x1y2z3-4567", "-> unlocked; typed 1234"}});
}

TEST_F(PasscodeViewTest, choosesAndConfirmsAPasscodeOfTheChosenLength) {
    story.play(
        {{"show setup", " Choose a passcode for this Mac.; keyboard"},
         {"press last, escape", "-> done; keeps none"},
         {"show setup, type 12", "typed 12"},
         {"eight", "no typed"},
         {"type 12345678", " Enter it again."},
         {"type 12345679", " Choose a passcode for this Mac.; says Those did not match. Start again."}});
    EXPECT_TRUE(view->state().first.empty() && view->note() && !view->buttons().back().shown);
    // The same code once more stores it.
    story.play(
        {{"type 12345678", " Enter it again.; no says"},
         {"store keyring gone, type 12345678", "says The keyring could not be opened: Locked."},
         {"store keyring full, type 12345678", "says The keychain would not store it: Full.; typed 12345678"},
         {"store keyring back, type 12345678", "-> done; no says; keeps 8 ann in the keyring"}});
}

TEST_F(PasscodeViewTest, asksOnceForAPasswordThatItDoesNotKnow) {
    const std::string asking = " Your password once, so the passcode has something to unlock.; ";
    story.play(
        {{"show ask", asking + "keyboard"},
         {"password", ""},
         {"password guess, password more", R"(busy; asks {"password":"guess","username":"ann"})"},
         {"refuse", "says Wrong password.; no busy; no asks"},
         {"password secret", R"(no says; busy; asks {"password":"secret","username":"ann"})"},
         {"accept", " Choose a passcode for this Mac.; no busy; no asks"},
         {"show ask-nobody, password x", asking + "says Sign in with a username and password first."}});
}

TEST_F(PasscodeViewTest, changesThePasscodeForOneOfAnotherLength) {
    story.play({{"show change", " Enter your current passcode.; keyboard"},
                {"type 1234", " Choose the new passcode."},
                {"type 654321", " Enter it again."},
                {"type 654321", "-> done; typed 654321; keeps 6 ann in the keyring"},
                // The keyboard is taken once more a moment after the screen has appeared.
                {"show change, look-away", " Enter your current passcode.; no typed; no keyboard"},
                {"pass 50", "keyboard"},
                {"look-away, click", ""},
                {"press first, look-away, pass 50", "-> done; no keyboard"}});
}

TEST_F(PasscodeViewTest, tellsAKeyringThatCannotBeAskedFromABrokenRecordInEveryMode) {
    for (const std::string mode : {"unlock", "relock", "change"}) {
        store.set("1234");
        show(mode);
        // None of these tries is counted. Only a sign-in has another screen to go to.
        const std::string left = mode == "unlock" ? "-> sign-in; " : "";
        story.play(
            {{"store keyring gone, type 1234, type 1234, type 1234",
              "says The keyring could not be opened: Locked."},
             {"store keyring back, type 9999", "shaken; says Wrong passcode. 2 tries left."},
             {"damage, type 1234", left + "no shaken; says The saved passcode could not be read. Sign in "
                                          "with your password.; keeps none"}});
    }
}

TEST_F(PasscodeViewTest, leavesOnceAndSurvivesItsScreen) {
    show("unlock");
    story.play({{"type 1234", R"(typed 1234; busy; asks {"password":"secret","username":"ann"})"},
                {"press first", "-> sign-in; keeps none"},
                {"accept", "no busy; no asks"}});
    store.set("1234");
    // The passcode goes before the session has ended.
    story.play({{"show relock, escape", "not left;  Locked. Enter your passcode to carry on.; no typed"},
                {"hold, press first", "keeps none in the keyring"},
                {"release keyring", "keeps none"},
                {"release page", "-> sign-in"}});
    store.set("1234");
    story.play({{"show relock, hold, type 1234, type 4321, vanish", "typed 1234; busy"},
                {"release keyring", "-> unlocked"}});
}
