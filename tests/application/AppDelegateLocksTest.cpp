#include "AppDelegateFixture.h"

using namespace std::chrono_literals;

TEST_F(AppDelegateTest, locksOnceTheWindowHasBeenLeftAloneForLongEnough) {
    launchWithPasscode();
    const auto pass = [&](std::chrono::seconds time) {
        clock.time += time;
        queue.advance(time);
    };
    pass(4min);
    events.use();
    pass(4min + 45s);
    EXPECT_FALSE(window.overlay) << "input does not count";
    pass(15s);
    ASSERT_TRUE(window.overlay);
    EXPECT_EQ(window.content, screens.web) << "the page is not kept";
    EXPECT_TRUE(std::holds_alternative<PasscodeView::Relock>(screens.passcode->mode()));
    delegate->perform(MenuCommand::lockNow);
    EXPECT_EQ(screens.made, 2);

    pass(1h);
    screens.passcode->edit(SecretText("1234"));
    EXPECT_FALSE(window.overlay);
    EXPECT_TRUE(showsApp());
    pass(4min + 45s);
    EXPECT_FALSE(window.overlay) << "the delay starts anew";
    pass(15s);
    EXPECT_TRUE(window.overlay);
}

TEST_F(AppDelegateTest, locksByItselfOnlyWhereThatIsSwitchedOnAndThereIsSomethingToUnlockWith) {
    const auto locks = [&] {
        desktop.lock();
        clock.time += 24h;
        queue.advance(15s);
        const auto locked = window.overlay != nullptr;
        if (locked)
            screens.passcode->edit(SecretText("1234"));
        return locked;
    };
    delegate->applicationDidFinishLaunching();
    EXPECT_FALSE(locks()) << "there is nothing to hide";
    EXPECT_TRUE(desktop.sleep()) << "the machine waits for a lock that does not come";
    signIn();
    EXPECT_FALSE(locks());
    setPasscode();
    EXPECT_TRUE(locks());
    account.defaults.set("brisko.lock.auto", false);
    EXPECT_FALSE(locks());
    delegate->perform(MenuCommand::lockNow);
    EXPECT_TRUE(window.overlay) << "locked only by itself";
    window.dismissSheet();
}

TEST_F(AppDelegateTest, isLockedFromTheStartInASessionThatIs) {
    setPasscode();
    desktop.locked = true;
    launchSignedIn();
    EXPECT_TRUE(window.overlay);
    screens.passcode->edit(SecretText("1234"));
    EXPECT_FALSE(window.overlay);
    signOut();
    signIn();
    EXPECT_FALSE(window.overlay) << "for who has just signed in";
}

TEST_F(AppDelegateTest, staysLockedWhenThePasscodeIsGoneButForTheSignIn) {
    launchWithPasscode();
    delegate->perform(MenuCommand::lockNow);
    spawn(passcode.clear());
    screens.passcode->edit(SecretText("1234"));
    EXPECT_TRUE(window.overlay);
    EXPECT_TRUE(screens.passcode->state().error);
    leavePasscode();
    EXPECT_FALSE(window.overlay);
    EXPECT_TRUE(showsAuth());
}

TEST_F(AppDelegateTest, locksBeforeTheMachineSleepsAndLetsItOnceTheLockIsDrawn) {
    launchWithPasscode();
    EXPECT_FALSE(desktop.sleep());
    EXPECT_TRUE(window.overlay);
    for (const auto& drawn : std::exchange(window.drawing, {}))
        drawn();
    EXPECT_EQ(desktop.delayed, 0);
    window.overlay = nullptr;
    window.content = nullptr;
    delegate.reset();
    EXPECT_TRUE(desktop.sleep()) << "waits for what has gone";
}

TEST_F(AppDelegateTest, takesTheLockAwayWhereverTheWindowGoesFromThePage) {
    const std::function<void()> ways[] = {[this] { signOut(); }, [this] { leavePasscode(); },
                                          [this] {
                                              account.webData.cookies.clear();
                                              delegate->applicationDidBecomeActive();
                                          }};
    for (const auto& leave : ways) {
        launchWithPasscode();
        delegate->perform(MenuCommand::lockNow);
        ASSERT_TRUE(window.overlay);
        EXPECT_FALSE(delegate->validate(menus.item(MenuCommand::lockNow)));
        leave();
        EXPECT_FALSE(window.overlay);
        EXPECT_TRUE(showsAuth());
    }
}

TEST_F(AppDelegateTest, asksTheOwnerAtEachActivationWhileThatIsSwitchedOn) {
    launchSignedIn();
    delegate->applicationDidResignActive();
    EXPECT_FALSE(window.covered);
    account.defaults.set("brisko.lock.enabled", true);
    delegate->applicationDidResignActive();
    EXPECT_TRUE(window.covered);
    delegate->applicationDidBecomeActive();
    EXPECT_EQ(program.owner.reasons, Texts({"unlock brisko"}));
    program.owner.answer(true);
    EXPECT_FALSE(window.covered);
}

TEST_F(AppDelegateTest, goesBetweenTheLockSettingsAndThePasscodeAndTellsOnceThatTheyAreDone) {
    launchSignedIn();
    account.remembered.setUsername("ann");
    int ended = 0;
    const auto then = [&ended] { ended += 1; };
    delegate->showLockSettings(then);
    ASSERT_TRUE(screens.lockSettings);
    EXPECT_TRUE(screens.lockSettings->canChange());
    screens.lockSettings->change();
    ASSERT_TRUE(screens.passcode);
    EXPECT_FALSE(screens.lockSettings);
    EXPECT_EQ(screens.passcode->state().step, PasscodeView::Step::password);
    screens.passcode->cancel();
    ASSERT_TRUE(screens.lockSettings);
    EXPECT_EQ(ended, 0);
    screens.lockSettings->done();
    EXPECT_FALSE(window.sheet);
    EXPECT_EQ(ended, 1);

    delegate->showLockSettings(then);
    delegate->showLockSettings({});
    EXPECT_EQ(ended, 2) << "a panel whose place another one took";
    screens.lockSettings->done();
    delegate->showLockSettings(then);
    signOut();
    EXPECT_TRUE(showsAuth());
    screens.lockSettings->done();
    EXPECT_EQ(ended, 3) << "over another screen";
}

TEST_F(AppDelegateTest, appliesANewLockShortcutToTheMenuAtOnce) {
    launchWithPasscode();
    int told = 0;
    delegate->perform(MenuCommand::openLockSettings);
    delegate->onMenusChanged = [&told] { told += 1; };
    screens.lockSettings->clearShortcut();
    EXPECT_EQ(menus.item(MenuCommand::lockNow).keyEquivalent, std::nullopt);
    EXPECT_GT(told, 0);
}
