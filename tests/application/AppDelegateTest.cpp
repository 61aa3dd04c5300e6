#include "application/AppDelegate.h"

#include "fakes/FakeAccount.h"
#include "fakes/FakeScreens.h"

#include <gtest/gtest.h>

namespace {

using Texts = std::vector<std::string>;

class AppDelegateTest : public testing::Test {
protected:
    FakeAccount account;
    FakeWindow window;
    FakeScreens screens{window};
    std::shared_ptr<AppDelegate> delegate =
        AppDelegate::make(account.api, account.remembered, account.workspace, window, screens);

    void TearDown() override {
        EXPECT_EQ(screens.destroyedInWindow, 0);
        EXPECT_EQ(window.size, (Window::Frame{1180, 800})) << "a screen changed the window's size";
    }
    bool showsAuth() const { return screens.auth && screens.alive == 1 && window.content; }
    bool showsApp() const { return screens.web && screens.alive == 1 && window.content == screens.web; }

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
        EXPECT_EQ(screens.auth->state().password, "");
        EXPECT_EQ(window.appearance, Window::Appearance::dark);
        EXPECT_TRUE(account.jar.cookies.empty() && account.webData.cookies.empty());
    }
    EXPECT_EQ(screens.made, 5);
}

TEST_F(AppDelegateTest, endsASessionOnceHoweverOftenThePageAsks) {
    launchSignedIn();
    account.webData.hold = true;
    EXPECT_EQ(followToSignInPage(), NavigationPolicy::cancel);
    EXPECT_EQ(followToSignInPage(), NavigationPolicy::cancel);
    EXPECT_TRUE(showsApp()) << "left before the session was cleared";
    const auto started = account.webData.started;
    account.webData.release();
    EXPECT_TRUE(showsAuth());
    EXPECT_EQ(account.webData.started, started);
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
