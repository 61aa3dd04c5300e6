#include "application/linux/WindowTest.h"
#include "fakes/FakeAccount.h"
#include "fakes/FakeLock.h"
#include "lock/linux/LockSettingsScreen.h"
#include "lock/linux/PasscodeScreen.h"

namespace {

using namespace std::chrono_literals;

class LockScreensTest : public WindowTest {
protected:
    FakeAccount account;
    FakeClock clock;
    FakeMainQueue queue;
    FakeKeychain keychain;
    Passcode store{keychain, defaults, clock};
    std::unique_ptr<PasscodeScreen> screen;
    std::unique_ptr<LockSettingsScreen> settings;
    std::string called;

    std::function<void()> call(const std::string& name) {
        return [this, name] { called += name; };
    }
    void setPasscode(const char* code) { spawn(store.set(SecretText(code), "ann", SecretText("secret"))); }
    void open(PasscodeView::Mode mode, const char* field = "Passcode") {
        window.removeContent();
        screen = std::make_unique<PasscodeScreen>(
            PasscodeView::make(std::move(mode), {call("unlocked"), call("password"), call("done")}, store,
                               account.api, clock, queue));
        window.setContent(*screen);
        Desk::seeKeyboardIn(field);
    }
    void openSettings(bool canSetPasscode = true) {
        window.dismissSheet();
        LockSettingsView::Callbacks callbacks;
        callbacks.onChangePasscode = [this](int length) { called += "change " + std::to_string(length); };
        callbacks.onDone = call("done");
        settings = std::make_unique<LockSettingsScreen>(
            LockSettingsView::make(canSetPasscode, callbacks, store, defaults, call("applied")));
        window.presentSheet(*settings);
        Desk::seeKeyboardIn("Done");
    }
    void TearDown() override {
        WindowTest::TearDown();
        screen.reset();
        settings.reset();
    }
    std::string takeCall() { return std::exchange(called, {}); }
    Json preference(const std::string& name) { return defaults.value("brisko.lock." + name); }
};

} // namespace

TEST_F(LockScreensTest, takeThePasswordTheLengthAndThePasscodeTwice) {
    open(PasscodeView::Setup{"ann", std::nullopt}, "Password");
    Desk::type("wrong");
    Desk::press("Return");
    account.http.answer(401, R"({"error":"Wrong username or password."})");
    EXPECT_TRUE(Desk::shows("Wrong username or password."));
    Desk::press("<Control>a");
    Desk::type("secret");
    Desk::press("Return");
    EXPECT_THAT(account.http.sent.back().body, testing::HasSubstr(R"("secret")"));
    account.acceptSignIn();
    Desk::walk({{"click 6 digits", "Choose a passcode for this Mac."},
                {"type 1a84-318", "Enter it again."},
                {"type 184319", "Those did not match. Start again."},
                {"type 184318", "Enter it again."},
                {"type 184318", "Passcode"}});
    EXPECT_EQ(takeCall(), "done");
    EXPECT_EQ(store.shape()->digits, 6);

    open(PasscodeView::Change{*store.shape(), 6});
    Desk::press("Escape");
    EXPECT_EQ(takeCall(), "done");
}

TEST_F(LockScreensTest, countWrongTriesLockOutTellTheTimeAndLeadToThePassword) {
    setPasscode("1843");
    open(PasscodeView::Relock{*store.shape()});
    // The keyboard comes back to the field from wherever it was, by a click and with the window.
    for (const auto& back : {std::function([] { Desk::click("Passcode"); }), std::function([this] {
                                 window.window().set_visible(false);
                                 Desk::seeKeyboardIn("");
                                 window.present();
                             })}) {
        Desk::press("Tab");
        EXPECT_NE(Desk::keyboard(), "Passcode");
        back();
        Desk::seeKeyboardIn("Passcode");
    }
    Desk::type("1843");
    EXPECT_EQ(takeCall(), "unlocked");

    open(PasscodeView::Unlock{*store.shape()});
    Desk::walk({{"type 0000", "Wrong passcode. 2 tries left."},
                {"type 0000", "Wrong passcode. One more try."},
                {"type 0000", "Too many wrong tries. Try again in 5:00."}});
    EXPECT_FALSE(gtk_widget_is_sensitive(Desk::find("Passcode")));
    EXPECT_NE(Desk::keyboard(), "Passcode");
    clock.time += 1s;
    Desk::see("Too many wrong tries. Try again in 4:59.");
    Desk::click("Use your password instead");
    EXPECT_EQ(takeCall(), "password");
}

TEST_F(LockScreensTest, showWhatCanBeSetInEachStateInASheetOfOneSize) {
    const auto enabled = [] {
        std::string names;
        for (const auto* name : {"4 digits", "Set a passcode…", "Change…", "Turn off", "After", "Increase",
                                 "Lock when left alone", "⌃⌘L", "Clear", "Default"})
            names +=
                Desk::shows(name) && gtk_widget_is_sensitive(Desk::find(name)) ? std::string(name) + "," : "";
        return names;
    };
    openSettings(false);
    Desk::seeDrawn(settings->widget());
    EXPECT_EQ(gtk_widget_get_width(settings->widget()), 420);
    EXPECT_EQ(gtk_widget_get_height(settings->widget()), 500);
    EXPECT_EQ(enabled(), "Lock when left alone,") << "a text and a switch";
    EXPECT_TRUE(Desk::shows(*settings->view().sealingHint()) &&
                Desk::shows(*settings->view().autoLockHint()));
    setPasscode("123456");
    openSettings();
    EXPECT_EQ(enabled(), "4 digits,Change…,Turn off,After,Increase,Lock when left alone,⌃⌘L,Clear,Default,");
    EXPECT_TRUE(Desk::shows("Set, 6 digits. It stands in for your password when the session has run out."));
    for (const auto& [step, result] :
         {std::pair("8 digits", "change 8"), {"Change…", "change 6"}, {"Done", "done"}}) {
        openSettings();
        Desk::click(step);
        EXPECT_EQ(takeCall(), result);
    }
    openSettings();
    Desk::press("Tab Return"); // on another button, which Return does not press
    EXPECT_EQ(takeCall(), "done");
    openSettings();
    Desk::walk({{"click Turn off", "Set a passcode…"}});
    EXPECT_EQ(enabled(), "Set a passcode…,Lock when left alone,");
}

TEST_F(LockScreensTest, takeMinutesTypedInAnyDigitsAndSteppedAndSayWhatCannotBeStored) {
    setPasscode("1234");
    openSettings();
    Desk::click("After");
    const auto minutes = [&](const auto& step) {
        step();
        return Desk::textIn("After") + " is " + preference("minutes").dump();
    };
    const auto set = [](const char* text) {
        return [text] { gtk_editable_set_text(GTK_EDITABLE(Desk::find("After")), text); };
    };
    const auto press = [](const char* keys) { return [keys] { Desk::press(keys); }; };
    const auto click = [](const char* button) { return [button] { Desk::click(button); }; };
    EXPECT_EQ(minutes(press("<Control>a 9 9 9")), "999 is 240");
    EXPECT_EQ(minutes(set("٤٢")), "٤٢ is 42");
    EXPECT_EQ(minutes(press("<Control>a 1")), "1 is 1");
    EXPECT_TRUE(Desk::shows("minute of no typing or clicking"));
    EXPECT_EQ(minutes(set("soon")), "soon is 1");
    EXPECT_EQ(minutes(press("Tab")), "1 is 1");
    EXPECT_EQ(minutes(click("Increase")), "2 is 2");
    EXPECT_EQ(minutes(click("Decrease")), "1 is 1");
    Desk::click("After");
    EXPECT_EQ(minutes(press("Up Up")), "3 is 3");
    EXPECT_EQ(minutes(press("Down")), "2 is 2");

    Desk::click("Lock when left alone");
    EXPECT_EQ(preference("auto"), false);
    defaults.broken = true;
    Desk::walk({{"click Lock when left alone", "No space left on device"}});
}

TEST_F(LockScreensTest, recordAShortcutAndLetNobodyElseHaveItsKeys) {
    setPasscode("1234");
    openSettings();
    Desk::walk({{"click ⌃⌘L", "Press the keys…"},
                {"press k <Shift>k Tab Return space <Control>F5 <Control>Right", "Press the keys…"},
                {"press <Alt><Shift>k", "⌥⇧K"},
                {"click ⌥⇧K", "Press the keys…"},
                {"press <Control><Super>1", "⌃⌘1"},
                {"click ⌃⌘1", "Press the keys…"},
                {"press Escape", "⌃⌘1"},
                {"click Clear", "None"},
                {"click Default", "⌃⌘L"},
                {"press Return", "⌃⌘L"}}); // an ordinary key again
    EXPECT_EQ(takeCall(), "appliedappliedappliedapplieddone");
}
