#include "application/linux/WindowTest.h"
#include "fakes/FakeLock.h"
#include "lock/linux/LockSettingsScreen.h"

TEST_F(WindowTest, showsAndStoresEveryLockSetting) {
    FakeClock clock;
    FakeKeychain keychain;
    Passcode store{keychain, defaults, clock};
    std::string called;
    LockSettingsView::Callbacks callbacks;
    callbacks.onChangePasscode = [&](int length) { called += "change " + std::to_string(length) + " "; };
    callbacks.onDone = [&] { called += "done "; };
    std::unique_ptr<LockSettingsScreen> screen;
    const auto open = [&] {
        window.dismissSheet();
        screen = std::make_unique<LockSettingsScreen>(
            LockSettingsView::make(true, callbacks, store, defaults, [&] { called += "applied "; }));
        window.presentSheet(*screen);
        Desk::seeKeyboardIn("Done");
        return Desk::shown({"4 digits", "Set a passcode…", "Change…", "Turn off", "Lock when left alone",
                            "After", "Increase", "⌃⌘L", "Clear", "Default"});
    };
    /// Clicks a button or a switch, or presses keys; then the field and what else is said are so.
    const auto see = [](const char* step, const char* minutes, const char* said) {
        auto* const found = Desk::find(step);
        if (found && GTK_IS_SWITCH(found))
            gtk_switch_set_active(GTK_SWITCH(found), !gtk_switch_get_active(GTK_SWITCH(found)));
        else if (found)
            g_signal_emit_by_name(found, "clicked");
        else
            Desk::press(step);
        EXPECT_STREQ(gtk_editable_get_text(GTK_EDITABLE(Desk::find("After"))), minutes) << step;
        EXPECT_EQ(Desk::shown({said}), said) << step;
    };
    EXPECT_EQ(open(), "Set a passcode…");
    spawn(store.set(SecretText("123456"), "ann", SecretText("secret")));
    EXPECT_EQ(open(),
              "4 digits, Change…, Turn off, Lock when left alone, After, Increase, ⌃⌘L, Clear, Default");
    EXPECT_STREQ(gtk_widget_get_tooltip_text(Desk::find("⌃⌘L")), "Ctrl+Super+L") << "as the keyboard says it";
    for (const auto* step : {"8 digits", "Change…", "Done", "Tab Return"}) { // Return presses no other button
        see(step, "5", "Done");
        open();
    }
    EXPECT_EQ(std::exchange(called, {}), "change 8 change 6 done done ");

    gtk_widget_grab_focus(Desk::find("After"));
    see("Up Up Down", "6", "minutes of no typing or clicking");
    see("<Control>a 9 9 9", "999", "minutes of no typing or clicking");
    see("Increase", "240", "After");
    see("⌃⌘L", "240", "Press the keys…");
    see("k Tab Return space", "240", "Press the keys…");
    see("<Alt><Shift>k", "240", "⌥⇧K");
    see("Clear", "240", "None");
    see("Default", "240", "⌃⌘L");
    see("Lock when left alone", "240", "Lock when left alone");
    EXPECT_EQ(defaults.value("brisko.lock.auto"), false);
    EXPECT_EQ(defaults.value("brisko.lock.minutes"), 240);
    defaults.broken = true;
    see("Lock when left alone", "240", "No space left on device");
    EXPECT_EQ(called, "applied applied applied ");
    window.dismissSheet();
}
