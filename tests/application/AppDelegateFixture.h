#pragma once

#include "application/AppDelegate.h"
#include "fakes/FakeProgram.h"
#include "fakes/FakeScreens.h"

#include <gtest/gtest.h>

/// The delegate over the fake platform.
class AppDelegateTest : public testing::Test {
protected:
    using Texts = std::vector<std::string>;

    FakeProgram program;
    FakeAccount& account = program.account;
    FakeWindow& window = program.window;
    FakeClock& clock = program.clock;
    FakeMainQueue& queue = program.queue;
    FakeKeychain& keychain = program.keychain;
    Passcode& passcode = program.passcode;
    FakeDock& dock = program.dock;
    FakeEventMonitor events;
    FakeDesktopSession desktop;
    FakeAboutPanel about;
    FakeScreens screens{window};
    LockShortcut lockShortcut{account.defaults};
    Menus menus{lockShortcut};
    std::shared_ptr<AppDelegate> delegate = AppDelegate::make({account.api,
                                                               account.remembered,
                                                               passcode,
                                                               account.defaults,
                                                               *program.appLock,
                                                               events,
                                                               desktop,
                                                               program.notifications,
                                                               program.reminders,
                                                               account.webData,
                                                               account.workspace,
                                                               clock,
                                                               queue,
                                                               window,
                                                               program.panels,
                                                               about,
                                                               dock,
                                                               *program.downloads,
                                                               menus,
                                                               screens,
                                                               {"1.2.3", "2026-11-23"}});

    void TearDown() override {
        account.webData.open();
        EXPECT_EQ(screens.destroyedInWindow, 0);
        EXPECT_EQ(window.size, (Window::Frame{1180, 800})) << "a screen changed the window's size";
    }
    /// No screen but the window's and its sheet's is alive.
    bool nothingElse() const {
        return screens.alive == 1 + (window.sheet ? 1 : 0) + (window.overlay ? 1 : 0);
    }
    bool showsAuth() const { return screens.auth && nothingElse() && window.content; }
    bool showsApp() const { return screens.web && nothingElse() && window.content == screens.web; }

    void launchSignedIn() {
        account.jar.cookies = {FakeAccount::session()};
        account.webData.cookies = account.jar.cookies;
        delegate->applicationDidFinishLaunching();
        ASSERT_TRUE(showsApp());
    }
    void setPasscode() { spawn(passcode.set(SecretText("1234"), "ann", SecretText("secret"))); }
    void launchWithPasscode() {
        setPasscode();
        launchSignedIn();
    }
    /// Leaves the passcode screen by its only button.
    void leavePasscode() {
        for (const auto& button : screens.passcode->buttons())
            if (button.shown)
                button.press();
    }
    void signIn() {
        screens.auth->type(AuthView::Field::identifier, "ann");
        screens.auth->type(AuthView::Field::password, "secret");
        spawn(screens.auth->go());
        account.acceptSignIn();
    }
    NavigationPolicy followToSignInPage() {
        return screens.web->decidePolicy(NavigationAction{"https://brisko.example/login"});
    }
    /// The page goes to its sign-in page; clearing takes a while, as it does in an engine.
    void signOut() {
        account.webData.hold = true;
        EXPECT_EQ(followToSignInPage(), NavigationPolicy::cancel);
        account.webData.hold = false;
        account.webData.release();
    }
};
