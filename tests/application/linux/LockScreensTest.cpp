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
    void open(PasscodeView::Mode mode, const char* field) {
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
    /// Does one thing after the other, "press", "type" or "click" and what, and sees what is said behind it.
    static void walk(std::initializer_list<std::pair<std::string, std::string>> steps,
                     const Desk::Where& where = Desk::Where::current()) {
        for (const auto& [step, seen] : steps) {
            const auto what = step.substr(step.find(' ') + 1);
            const auto verb = step.substr(0, step.find(' '));
            verb == "type" ? Desk::type(what) : verb == "press" ? Desk::press(what) : Desk::click(what);
            Desk::see(seen, where);
        }
    }
    std::string takeCall() { return std::exchange(called, {}); }
    Json preference(const std::string& name) { return defaults.value("brisko.lock." + name); }
};

} // namespace

TEST_F(LockScreensTest, takeThePasswordFirstWhereItIsNotKnownAndAreLeftByEscape) {
    open(PasscodeView::Setup{"ann", std::nullopt}, "Password");
    Desk::type("secret");
    Desk::press("Return");
    EXPECT_EQ(Json::parse(account.http.sent.back().body)["password"], "secret");
    account.acceptSignIn();
    walk({{"click 6 digits", "Choose a passcode for this Mac."}, {"type 1a84-318", "Enter it again."}});
    Desk::press("Escape");
    EXPECT_EQ(takeCall(), "done");
}

TEST_F(LockScreensTest, takeTheKeyboardBackForThePasscodeUnlessItIsLockedOut) {
    setPasscode("1843");
    open(PasscodeView::Unlock{*store.shape()}, "Passcode");
    Desk::press("Tab");
    EXPECT_NE(Desk::keyboard(), "Passcode");
    Desk::click("Passcode");
    Desk::seeKeyboardIn("Passcode");
    Desk::press("Tab");
    window.window().set_visible(false);
    window.present();
    Desk::seeKeyboardIn("Passcode");
    walk({{"type 0000", "Wrong passcode. 2 tries left."},
          {"type 0000", "Wrong passcode. One more try."},
          {"type 0000", "Too many wrong tries. Try again in 5:00."}});
    EXPECT_FALSE(gtk_widget_is_sensitive(Desk::find("Passcode")) || Desk::keyboard() == "Passcode");
    clock.time += 1s;
    walk({{"click Use your password instead", "Too many wrong tries. Try again in 4:59."}});
    EXPECT_EQ(takeCall(), "password");
}

TEST_F(LockScreensTest, showWhatCanBeSetInEachStateInASheetOfOneSize) {
    const auto enabled = [] {
        std::string names;
        for (const auto* name : {"4 digits", "Set a passcode…", "Change…", "Turn off", "After", "Increase",
                                 "⌃⌘L", "Clear", "Default"})
            names +=
                Desk::shows(name) && gtk_widget_is_sensitive(Desk::find(name)) ? std::string(name) + "," : "";
        return names;
    };
    openSettings(false);
    Desk::seeDrawn(settings->widget());
    EXPECT_EQ(gtk_widget_get_width(settings->widget()), 420);
    EXPECT_EQ(gtk_widget_get_height(settings->widget()), 500);
    EXPECT_EQ(enabled(), "");
    EXPECT_TRUE(Desk::shows(*settings->view().sealingHint()) &&
                Desk::shows(*settings->view().autoLockHint()));
    setPasscode("123456");
    openSettings();
    EXPECT_EQ(enabled(), "4 digits,Change…,Turn off,After,Increase,⌃⌘L,Clear,Default,");
    EXPECT_TRUE(Desk::shows("Set, 6 digits. It stands in for your password when the session has run out."));
    walk({{"click Turn off", "Set a passcode…"}});
    EXPECT_EQ(enabled(), "Set a passcode…,");
    setPasscode("123456");
    for (const auto& [step, result] : {std::pair("click 8 digits", "change 8"),
                                       {"click Change…", "change 6"},
                                       {"click Done", "done"},
                                       {"press Tab Return", "done"}}) { // Return presses no other button
        openSettings();
        walk({{step, "Done"}});
        EXPECT_EQ(takeCall(), result);
    }
}

TEST_F(LockScreensTest, takeMinutesTypedInAnyDigitsAndSteppedAndSayWhatCannotBeStored) {
    setPasscode("1234");
    openSettings();
    const auto see = [this](const char* text, int stored) {
        EXPECT_EQ(Desk::textIn("After"), text);
        EXPECT_EQ(preference("minutes"), stored);
    };
    walk({{"click After", "After"}, {"press <Control>a 9 9 9", "minutes of no typing or clicking"}});
    see("999", 240);
    gtk_editable_set_text(GTK_EDITABLE(Desk::find("After")), "٤٢");
    see("٤٢", 42);
    walk({{"press <Control>a 1", "minute of no typing or clicking"}});
    see("1", 1);
    gtk_editable_set_text(GTK_EDITABLE(Desk::find("After")), "soon");
    see("soon", 1);
    walk({{"press Tab", "After"}});
    see("1", 1);
    walk({{"click Increase", "After"}, {"click Increase", "After"}, {"click Decrease", "After"}});
    see("2", 2);
    walk({{"click After", "After"}, {"press Up Up Down", "After"}});
    see("3", 3);
    walk({{"click Lock when left alone", "After"}});
    EXPECT_EQ(preference("auto"), false);
    defaults.broken = true;
    walk({{"click Lock when left alone", "No space left on device"}});
}

TEST_F(LockScreensTest, recordAShortcutAndLetNobodyElseHaveItsKeys) {
    setPasscode("1234");
    openSettings();
    walk({{"click ⌃⌘L", "Press the keys…"},
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
