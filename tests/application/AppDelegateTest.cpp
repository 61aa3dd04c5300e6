#include "application/AppDelegate.h"

#include "fakes/FakeAccount.h"
#include "fakes/FakeLock.h"
#include "fakes/FakeScreens.h"

#include <gtest/gtest.h>

namespace {

using Texts = std::vector<std::string>;

class AppDelegateTest : public testing::Test {
protected:
    FakeAccount account;
    FakeWindow window;
    FakeScreens screens{window};
    FakeClock clock;
    FakeMainQueue queue;
    FakeKeychain keychain;
    Passcode passcode{keychain, account.defaults, clock};
    std::shared_ptr<AppDelegate> delegate = AppDelegate::make(
        {account.api, account.remembered, passcode, account.workspace, clock, queue, window, screens});

    void TearDown() override {
        EXPECT_EQ(screens.destroyedInWindow, 0);
        EXPECT_EQ(window.size, (Window::Frame{1180, 800})) << "a screen changed the window's size";
    }
    /// No screen but the window's and its sheet's is alive.
    bool nothingElse() const { return screens.alive == (window.sheet ? 2 : 1); }
    bool showsAuth() const { return screens.auth && nothingElse() && window.content; }
    bool showsApp() const { return screens.web && nothingElse() && window.content == screens.web; }

    void launchSignedIn() {
        account.jar.cookies = {FakeAccount::session()};
        account.webData.cookies = account.jar.cookies;
        delegate->applicationDidFinishLaunching();
        ASSERT_TRUE(showsApp());
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

} // namespace

TEST_F(AppDelegateTest, startsWithTheSignInScreenInADarkWindow) {
    delegate->applicationDidFinishLaunching();
    EXPECT_TRUE(showsAuth());
    EXPECT_EQ(window.appearance, Window::Appearance::dark);
    EXPECT_EQ(window.background, Chrome::canvas);
    EXPECT_EQ(window.presented, 1);
    EXPECT_EQ(account.webData.started, 0) << "the engine is started for nothing";
}

TEST_F(AppDelegateTest, startsWithTheWebApplicationOnceALiveSessionIsHandedOver) {
    account.jar.cookies = {FakeAccount::session()};
    account.webData.cookies = {FakeAccount::session(".brisko.example")};
    account.webData.hold = true;
    delegate->applicationDidFinishLaunching();
    EXPECT_EQ(window.presented, 1) << "the window waits for the session";
    EXPECT_EQ(window.background, Chrome::canvas);
    account.webData.release();
    EXPECT_EQ(screens.made, 0);
    account.webData.release();
    EXPECT_EQ(account.webData.log, Texts({"list", "set brisko_session"}));
    ASSERT_TRUE(showsApp());
    EXPECT_EQ(screens.web->loaded, Texts({"https://brisko.example"}));
}

TEST_F(AppDelegateTest, startsWithTheSignInScreenWhenTheWebViewLostTheSession) {
    account.jar.cookies = {FakeAccount::session()};
    delegate->applicationDidFinishLaunching();
    EXPECT_TRUE(showsAuth());
    EXPECT_TRUE(account.jar.cookies.empty());
    EXPECT_EQ(account.webData.log, Texts({"list", "clear"}));
}

TEST_F(AppDelegateTest, goesFromSignInToTheWebApplicationAndBackAsOftenAsNeeded) {
    delegate->applicationDidFinishLaunching();
    for (int round = 0; round < 2; ++round) {
        signIn();
        ASSERT_TRUE(showsApp());
        EXPECT_EQ(screens.web->loaded, Texts({"https://brisko.example"}));
        window.appearance = Window::Appearance::light;
        signOut();
        ASSERT_TRUE(showsAuth());
        EXPECT_EQ(screens.auth->state().identifier, "ann");
        EXPECT_EQ(screens.auth->state().password.view(), "");
        EXPECT_EQ(window.appearance, Window::Appearance::dark);
        EXPECT_TRUE(account.jar.cookies.empty() && account.webData.cookies.empty());
    }
    EXPECT_EQ(screens.made, 7) << "each sign-in also offers a passcode";
}

TEST_F(AppDelegateTest, endsASessionOnceHoweverOftenThePageAsks) {
    launchSignedIn();
    account.webData.hold = true;
    EXPECT_EQ(followToSignInPage(), NavigationPolicy::cancel);
    const auto started = account.webData.started;
    EXPECT_EQ(followToSignInPage(), NavigationPolicy::cancel);
    EXPECT_EQ(account.webData.started, started);
    EXPECT_TRUE(showsApp()) << "left before the session was cleared";
    account.webData.release();
    EXPECT_TRUE(showsAuth());
    EXPECT_EQ(screens.made, 2);
    EXPECT_FALSE(account.webData.waiting());
}

TEST_F(AppDelegateTest, keepsTheLastOpenedPageForTheNextTimeTheWebApplicationIsShown) {
    delegate->open({"brisko://new"});
    EXPECT_EQ(window.presented, 1);
    delegate->applicationDidFinishLaunching();
    delegate->open({"brisko://today", "brisko://search", "brisko://nothing", "not a url"});
    signIn();
    EXPECT_EQ(screens.web->loaded, Texts({"https://brisko.example/?search=1"}));
    signOut();
    signIn();
    EXPECT_EQ(screens.web->loaded, Texts({"https://brisko.example"})) << "opened a second time";
}

TEST_F(AppDelegateTest, opensAPageWhileTheSessionIsStillBeingLookedFor) {
    account.jar.cookies = {FakeAccount::session()};
    account.webData.cookies = account.jar.cookies;
    account.webData.hold = true;
    delegate->applicationDidFinishLaunching();
    delegate->open({"brisko://new"});
    account.webData.release();
    account.webData.release();
    EXPECT_EQ(screens.web->loaded, Texts({"https://brisko.example/?new=1"}));
}

TEST_F(AppDelegateTest, opensPagesByScriptWhileTheWebApplicationIsShown) {
    launchSignedIn();
    delegate->open({"brisko://new", "brisko://other", "brisko:new", "brisko://today"});
    EXPECT_EQ(screens.web->evaluated,
              Texts({R"(window.location.href = "/?new=1")", R"(window.location.href = "/")"}));
    EXPECT_EQ(screens.web->loaded.size(), 1U);
    signOut();
    signIn();
    EXPECT_EQ(screens.web->loaded, Texts({"https://brisko.example"}));
}

TEST_F(AppDelegateTest, bringsItsWindowForwardWhateverIsOpened) {
    launchSignedIn();
    EXPECT_FALSE(delegate->applicationShouldTerminateAfterLastWindowClosed());
    delegate->applicationShouldHandleReopen();
    delegate->open({});
    delegate->open({"brisko://other", "%"});
    EXPECT_EQ(window.presented, 4);
    EXPECT_TRUE(showsApp());
    EXPECT_TRUE(screens.web->evaluated.empty());
}

TEST_F(AppDelegateTest, hearsNothingOfASignInThatEndsAfterItHasGone) {
    delegate->applicationDidFinishLaunching();
    const auto view = screens.auth->shared_from_this();
    view->type(AuthView::Field::identifier, "ann");
    view->type(AuthView::Field::password, "secret");
    spawn(view->go());
    window.content = nullptr;
    delegate.reset();
    EXPECT_EQ(screens.alive, 0);
    account.acceptSignIn();
    EXPECT_EQ(screens.made, 1);
}

TEST_F(AppDelegateTest, offersAPasscodeForThePasswordThatWasTypedAndOnlyWhereThereIsNone) {
    delegate->applicationDidFinishLaunching();
    signIn();
    ASSERT_TRUE(showsApp());
    ASSERT_TRUE(window.sheet);
    EXPECT_EQ(screens.passcode->state().step, PasscodeView::Step::choose);
    EXPECT_EQ(screens.passcode->state().owner, "ann");
    screens.passcode->edit(SecretText("1234"));
    screens.passcode->edit(SecretText("1234"));
    EXPECT_FALSE(window.sheet);
    EXPECT_TRUE(showsApp());
    EXPECT_TRUE(passcode.shape());

    signOut();
    signIn();
    EXPECT_TRUE(showsApp());
    EXPECT_FALSE(window.sheet) << "offered although there is one";
}

TEST_F(AppDelegateTest, offersNoPasscodeAfterAGoogleSignIn) {
    delegate->applicationDidFinishLaunching();
    spawn(screens.auth->googleSignIn());
    account.browser.answer.resolve("brisko://auth?code=1");
    account.acceptSignIn();
    EXPECT_TRUE(showsApp());
    EXPECT_FALSE(window.sheet);
}

TEST_F(AppDelegateTest, asksForThePasscodeOnceTheSessionIsOverAndTakesThePasswordInstead) {
    spawn(passcode.set(SecretText("1234"), "ann", SecretText("secret")));
    for (const auto unlocks : {true, false}) {
        delegate->applicationDidFinishLaunching();
        ASSERT_TRUE(screens.passcode);
        EXPECT_TRUE(nothingElse());
        EXPECT_EQ(window.appearance, Window::Appearance::dark);
        if (unlocks) {
            screens.passcode->edit(SecretText("1234"));
            account.acceptSignIn();
            EXPECT_TRUE(showsApp());
            EXPECT_FALSE(window.sheet);
            signOut();
        } else {
            screens.passcode->buttons().front().press();
            EXPECT_TRUE(showsAuth());
            EXPECT_FALSE(passcode.shape());
        }
    }
}

TEST_F(AppDelegateTest, showsTheApplicationAtOnceWhileTheSessionLivesAndDropsARecordThatNothingIsKnownOf) {
    spawn(passcode.set(SecretText("1234"), "ann", SecretText("secret")));
    launchSignedIn();
    EXPECT_TRUE(keychain.item);
    account.defaults.unreadable = true;
    delegate->applicationDidFinishLaunching();
    EXPECT_TRUE(keychain.item) << "what cannot be read is not absent";
    account.defaults.unreadable = false;
    account.defaults.remove("brisko.passcode.username");
    delegate->applicationDidFinishLaunching();
    EXPECT_FALSE(keychain.item);
}
