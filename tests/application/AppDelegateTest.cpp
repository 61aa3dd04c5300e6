#include "AppDelegateFixture.h"

#include <algorithm>

using namespace std::chrono_literals;

TEST_F(AppDelegateTest, startsWithThePageThatIsOpenedWhileALiveSessionIsBeingHandedOver) {
    account.jar.cookies = {FakeAccount::session()};
    account.webData.cookies = {FakeAccount::session(".brisko.example")};
    account.webData.hold = true;
    delegate->applicationDidFinishLaunching();
    EXPECT_EQ(window.presented, 1) << "the window waits for the session";
    EXPECT_EQ(window.background, Chrome::canvas);
    delegate->open({"brisko://new"});
    account.webData.release();
    EXPECT_EQ(screens.made, 0);
    account.webData.release();
    EXPECT_EQ(account.webData.log, Texts({"list", "set brisko_session"}));
    ASSERT_TRUE(showsApp());
    EXPECT_EQ(screens.web->loaded, Texts({"https://brisko.example/?new=1"}));
}

TEST_F(AppDelegateTest, goesFromSignInToTheWebApplicationAndBackAsOftenAsNeeded) {
    delegate->applicationDidFinishLaunching();
    EXPECT_TRUE(showsAuth());
    EXPECT_EQ(window.appearance, Window::Appearance::dark);
    EXPECT_EQ(window.background, Chrome::canvas);
    EXPECT_EQ(account.webData.started, 0) << "the engine is started for nothing";
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
    EXPECT_EQ(std::count(account.webData.log.begin(), account.webData.log.end(), "clear"), 1);
}

TEST_F(AppDelegateTest, leavesTheApplicationOnceWhoeverNoticesFirstThatTheSessionIsOver) {
    launchSignedIn();
    delegate->applicationDidBecomeActive();
    EXPECT_TRUE(showsApp()) << "the session lives";

    dock.badge = 3;
    account.webData.cookies.clear();
    account.webData.changed();
    account.webData.hold = true;
    delegate->applicationDidBecomeActive();
    queue.advance(0ms);
    account.webData.hold = false;
    while (account.webData.waiting())
        account.webData.release();
    ASSERT_TRUE(showsAuth());
    EXPECT_EQ(screens.made, 2) << "two sign-in screens, one after the other";
    EXPECT_EQ(dock.badge, 0);
    EXPECT_TRUE(account.jar.cookies.empty());

    const auto asked = account.webData.started;
    delegate->applicationDidBecomeActive();
    EXPECT_EQ(account.webData.started, asked) << "there is no session to look for";
}

TEST_F(AppDelegateTest, doesNotEndASessionThatBeganAfterTheOldOneWasLookedFor) {
    launchSignedIn();
    account.webData.hold = true;
    delegate->applicationDidBecomeActive();
    EXPECT_EQ(followToSignInPage(), NavigationPolicy::cancel);
    account.webData.hold = false;
    account.webData.release();
    ASSERT_TRUE(showsAuth());
    signIn();
    while (account.webData.waiting())
        account.webData.release();
    EXPECT_TRUE(showsApp());
}

TEST_F(AppDelegateTest, followsThePagesColourWhileItShowsThePage) {
    launchSignedIn();
    const auto report = [](FakeWebView& page, const std::string& grey) {
        page.handlers.at("briskoChrome")(Json{{"background", "rgb(" + grey + "," + grey + "," + grey + ")"}});
    };
    for (const auto& [grey, appearance] :
         {std::pair("117.3", Window::Appearance::light), // 0.46
          std::pair("112.2", Window::Appearance::dark),  // 0.44
          std::pair("114.75", Window::Appearance::dark), // a hair below 0.45
          std::pair("900", Window::Appearance::light), std::pair("-900", Window::Appearance::dark)}) {
        report(*screens.web, grey);
        EXPECT_EQ(window.appearance, appearance) << grey;
        EXPECT_EQ(window.background.red, std::stod(grey) / 255);
        EXPECT_EQ(screens.web->underPage, window.background);
    }
    report(*screens.web, "255");
    signOut();
    EXPECT_EQ(window.background, Chrome::canvas);
    EXPECT_EQ(window.appearance, Window::Appearance::dark);
}

TEST_F(AppDelegateTest, pressesThePagesKeysForTheMenusAndOnlyWhileThePageIsThere) {
    int told = 0;
    delegate->onMenusChanged = [&told] { told += 1; };
    delegate->applicationDidFinishLaunching();
    EXPECT_GT(std::exchange(told, 0), 0);
    for (const auto command : {MenuCommand::newTask, MenuCommand::reloadPage, MenuCommand::zoomIn})
        delegate->perform(command);
    EXPECT_FALSE(delegate->validate(menus.item(MenuCommand::newTask)));

    signIn();
    EXPECT_GT(std::exchange(told, 0), 0);
    screens.web->handlers.at("briskoChrome")(
        parseJson(R"({"shortcuts": {"newTask": "alt+j", "search": ""}})"));
    EXPECT_EQ(std::exchange(told, 0), 1);
    EXPECT_EQ(menus.item(MenuCommand::newTask).keyEquivalent, (KeyEquivalent{"j", KeyModifier::option}));
    for (const auto command : {MenuCommand::newTask, MenuCommand::searchAll, MenuCommand::filterList,
                               MenuCommand::switchView, MenuCommand::openSettings})
        delegate->perform(command);
    const auto pressed = [](const char* combo) {
        return "window.__brisko && window.__brisko.run(\"" + std::string(combo) + "\")";
    };
    EXPECT_EQ(screens.web->evaluated,
              Texts({pressed("alt+j"), pressed("mod+k"), pressed("mod+shift+v"), pressed("mod+,")}))
        << "the filter has no keys";

    screens.web->zoom = 2.95;
    delegate->perform(MenuCommand::zoomIn);
    EXPECT_DOUBLE_EQ(screens.web->zoom, 3);
    screens.web->zoom = 0.55;
    delegate->perform(MenuCommand::zoomOut);
    EXPECT_DOUBLE_EQ(screens.web->zoom, 0.5);
    delegate->perform(MenuCommand::actualSize);
    EXPECT_DOUBLE_EQ(screens.web->zoom, 1);
    delegate->perform(MenuCommand::reloadPage);
    EXPECT_EQ(screens.web->reloads, 1);
}

TEST_F(AppDelegateTest, helpsAndSaysWhatItIsWhateverScreenIsShown) {
    delegate->perform(MenuCommand::openGuides);
    delegate->perform(MenuCommand::openPrivacy);
    delegate->perform(MenuCommand::showAbout);
    EXPECT_EQ(account.workspace.opened,
              Texts({"https://brisko.example/guides", "https://brisko.example/privacy"}));
    ASSERT_EQ(about.shown.size(), 1U);
    EXPECT_EQ(about.shown[0].applicationVersion, "1.2.3");
    EXPECT_EQ(about.shown[0].version, "2026-11-23");
    EXPECT_EQ(about.shown[0].credits, "What\xE2\x80\x99s new");
    EXPECT_EQ(about.shown[0].link.text(), "https://brisko.example/changelog");
    EXPECT_EQ(window.presented, 1);
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
    program.center.onResponse();
    queue.advance(0ms);
    EXPECT_EQ(window.presented, 5);
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
    spawn(screens.auth->googleSignIn());
    account.browser.answer.resolve("brisko://auth?code=1");
    account.acceptSignIn();
    ASSERT_TRUE(showsApp());
    EXPECT_FALSE(window.sheet) << "there is no password to seal";

    signOut();
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

TEST_F(AppDelegateTest, asksForThePasscodeOnceTheSessionIsOverAndTakesThePasswordInstead) {
    setPasscode();
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
            leavePasscode();
            EXPECT_TRUE(showsAuth());
            EXPECT_FALSE(passcode.shape());
        }
    }
}

TEST_F(AppDelegateTest, showsTheApplicationAtOnceWhileTheSessionLivesAndDropsARecordThatNothingIsKnownOf) {
    launchWithPasscode();
    EXPECT_TRUE(keychain.item);
    account.defaults.unreadable = true;
    delegate->applicationDidFinishLaunching();
    EXPECT_TRUE(keychain.item) << "what cannot be read is not absent";
    account.defaults.unreadable = false;
    account.defaults.remove("brisko.passcode.username");
    delegate->applicationDidFinishLaunching();
    EXPECT_FALSE(keychain.item);
}
