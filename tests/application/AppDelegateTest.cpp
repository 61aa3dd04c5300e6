#include "application/AppDelegate.h"

#include "Scenario.h"
#include "fakes/FakeProgram.h"
#include "fakes/FakeScreens.h"
#include "platform/Walk.h"

#include <gtest/gtest.h>

namespace {

using Text = const std::string&;

/// The delegate over the fake platform, and ann, who goes with it from screen to screen.
class AppDelegateTest : public testing::Test {
protected:
    FakeProgram program;
    FakeAccount& account = program.account;
    FakeWindow& window = program.window;
    FakeEventMonitor events;
    FakeDesktopSession desktop;
    FakeAboutPanel about;
    FakeScreens screens{window};
    LockShortcut lockShortcut{account.defaults};
    Menus menus{lockShortcut};
    std::shared_ptr<AppDelegate> delegate = AppDelegate::make(AppDelegate::Surroundings(
        account.api, account.remembered, program.passcode, account.defaults, *program.appLock, events,
        desktop, program.notifications, program.reminders, account.webData, account.workspace, program.clock,
        program.queue, window, program.panels, about, program.dock, *program.downloads, menus, screens,
        {"1.2.3", "2026-11-23"}));
    std::string menuBar; ///< the keys by which a task can be written and the window locked, as it draws them
    int settled = 0;     ///< how often the lock settings have said that they are done
    Scenario story{[this] { return sight(); }, deeds()};

    void SetUp() override {
        delegate->onMenusChanged = [this] {
            menuBar.clear();
            for (const auto& item : {menus.item(MenuCommand::newTask), menus.item(MenuCommand::lockNow)})
                if (delegate->validate(item))
                    menuBar += item.keyEquivalent.value_or(KeyEquivalent{"?"}).key;
        };
    }
    void TearDown() override {
        account.webData.open();
        quit();
    }
    void quit() {
        window.content = window.sheet = window.overlay = nullptr;
        delegate.reset();
    }

    std::string wordsFor(const Screen* screen) const { return screen ? screens.alive.at(screen)() : ""; }
    void tell(const std::string& what, std::vector<std::string>& texts) {
        for (const auto& text : std::exchange(texts, {}))
            story.said += (story.said.empty() ? "" : "; ") + what + text;
    }
    Scenario::Sight sight() {
        EXPECT_EQ(window.size, (Window::Frame{1180, 800})) << "a screen changed the window's size";
        const auto places = !!window.content + !!window.sheet + !!window.overlay;
        EXPECT_EQ(screens.alive.size(), static_cast<std::size_t>(places)) << "a screen is kept for nothing";
        FakeWebView none;
        auto& page = screens.web ? *screens.web : none;
        tell("", page.loaded);
        tell("", page.evaluated);
        tell("opens ", account.workspace.opened);
        tell("", about.shown);
        tell("asks to ", program.owner.reasons);
        const auto number = [](auto count) { return count == 0 ? "" : std::to_string(count); };
        const auto isDark = window.appearance == Window::Appearance::dark;
        const auto ground = number(std::lround(window.background.red * 255));
        EXPECT_TRUE(!screens.web || page.underPage == window.background);
        return {{"presented", number(window.presented)},
                {"window", wordsFor(window.content)},
                {"look", (isDark ? "dark " : "light ") + (window.background == Chrome::canvas ? "" : ground)},
                {"jar", Scenario::flag(!account.jar.cookies.empty())},
                {"web", Scenario::flag(!account.webData.cookies.empty())},
                {"sheet", wordsFor(window.sheet)},
                {"lock", wordsFor(window.overlay)},
                {"covered", Scenario::flag(window.covered)},
                {"menus", menuBar},
                {"zoomed", number(std::lround(page.zoom * 100) - 100)},
                {"waits", number(account.webData.waiting())},
                {"badge", number(program.dock.badge)},
                {"record", Scenario::flag(program.keychain.item.has_value())},
                {"settled", number(settled)},
                {"awake", number(desktop.delayed)},
                {"made", number(screens.made)}};
    }

    void choose(Text title) {
        for (auto command = 0; command <= static_cast<int>(MenuCommand::openPrivacy); ++command)
            if (menus.item(static_cast<MenuCommand>(command)).title == title)
                delegate->perform(static_cast<MenuCommand>(command));
    }
    void trySignIn() {
        const auto view = screens.auth.lock();
        view->type(AuthView::Field::identifier, "ann");
        view->type(AuthView::Field::password, "secret");
        spawn(view->go());
    }
    void pass(std::chrono::seconds time) {
        program.clock.time += time;
        program.queue.advance(time);
    }
    void report(const Json& what) { screens.web->handlers.at("briskoChrome")(screens.web->message(what)); }
    void setPasscode() { spawn(program.passcode.set(SecretText("1234"), "ann", SecretText("secret"))); }
    Scenario::Deeds deeds() {
        return {{"session",
                 [this](Text) { account.webData.cookies = account.jar.cookies = {account.session()}; }},
                {"lose", [this](Text) { account.webData.cookies.clear(); }},
                {"notice", [this](Text) { account.webData.changed(); }},
                {"passcode", [this](Text) { setPasscode(); }},
                {"forget", [this](Text) { spawn(program.passcode.clear()); }},
                {"stay-open", [this](Text) { account.defaults.set("brisko.lock.auto", false); }},
                {"launch", [this](Text) { delegate->applicationDidFinishLaunching(); }},
                {"activate", [this](Text) { delegate->applicationDidBecomeActive(); }},
                {"resign", [this](Text) { delegate->applicationDidResignActive(); }},
                {"respond", [this](Text) { program.center.onResponse(); }},
                {"arrive", [this](Text) { screens.web->onArrived(); }},
                {"open", [this](Text urls) { delegate->open(cellsOf(urls)); }},
                {"menu", [this](Text title) { choose(title); }},
                {"try", [this](Text) { trySignIn(); }},
                {"accept", [this](Text) { account.acceptSignIn(); }},
                {"google", [this](Text) { spawn(screens.auth.lock()->googleSignIn()); }},
                {"browser", [this](Text url) { account.browser.answer.resolve(url); }},
                {"leave", [this](Text) { screens.web->decidePolicy({"https://brisko.example/login"}); }},
                {"grey", [this](Text i) { report({{"background", "rgb(" + i + "," + i + "," + i + ")"}}); }},
                {"bind", [this](Text keys) { report({{"shortcuts", parseJson(keys)}}); }},
                {"settings", [this](Text) { delegate->showLockSettings([this] { settled += 1; }); }},
                {"change", [this](Text) { screens.lockSettings.lock()->change(); }},
                {"clear-shortcut", [this](Text) { screens.lockSettings.lock()->clearShortcut(); }},
                {"done", [this](Text) { screens.lockSettings.lock()->done(); }},
                {"code", [this](Text code) { screens.passcode.lock()->edit(SecretText(code)); }},
                {"escape", [this](Text) { screens.passcode.lock()->cancel(); }},
                {"instead", [this](Text) { screens.passcode.lock()->buttons().at(0).press(); }},
                {"owner", [this](Text) { program.owner.answer(true); }},
                {"hold", [this](Text) { account.webData.hold = true; }},
                {"release", [this](Text) { account.webData.release(); }},
                {"release-all", [this](Text) { account.webData.open(); }},
                {"seconds", [this](Text count) { pass(std::chrono::seconds(std::stoi(count))); }},
                {"input", [this](Text) { events.use(); }},
                {"late-input",
                 [this](Text) {
                     program.clock.time += std::chrono::minutes(5); // since when nobody has looked yet
                     events.use();
                 }},
                {"press-cover", [this](Text) { window.onCoverPressed(); }},
                {"lock-session", [this](Text) { desktop.lock(); }},
                {"sleep", [this](Text) { desktop.sleep(); }},
                {"drawn", [this](Text) { std::exchange(window.drawing, {}).at(0)(); }}};
    }
};

const std::string page = "https://brisko.example; ";
const std::string launched = "presented 1; window sign-in ''; look dark ; made 1";
const std::string cameBack = page + "presented 1; window page; look dark ; jar; web; ";
const std::string signedIn = page + "window page; jar; web; ";
const std::string offered = "sheet set-up/choose of ann; ";

} // namespace

TEST_F(AppDelegateTest, opensAPageOnceItHasTheSessionAndAnotherByScriptOrWhenTheApplicationIsNextShown) {
    const std::string go = "window.location.href = ";
    story.play({{"session, hold, launch", "presented 1; look dark ; jar; web; waits 1"},
                {"open brisko://new, release", "presented 2"},
                {"release", "https://brisko.example/?new=1; window page; menus n; made 1"},
                // While there is no page yet, a script would be lost.
                {"open brisko://search", "https://brisko.example/?search=1; presented 3"},
                {"arrive, open brisko://new  brisko://other  brisko:new", go + "\"/?new=1\"; presented 4"},
                {R"(bind {"newTask":"alt+j"})", "menus j"},
                {"open brisko://today", go + "\"/\"; presented 5"},
                {"release-all, leave", "window sign-in ''; no jar; no web; no menus; no waits; made 2"},
                {"open brisko://today  brisko://search  brisko://nothing  %", "presented 6"},
                {"try, accept", "https://brisko.example/?search=1; window page; jar; web; sheet "
                                "set-up/choose of ann; menus j; made 4"},
                // Its page finds that the session is over.
                {"leave, try, accept", "https://brisko.example/?search=1; made 7"},
                {R"(bind {"newTask":"n"}, leave, try, accept)", page + "menus n; made 10"},
                {"open, open brisko://other  %, respond, seconds 0", "presented 9"}});
    EXPECT_FALSE(delegate->applicationShouldTerminateAfterLastWindowClosed());
}

TEST_F(AppDelegateTest, goesFromSignInToTheWebApplicationAndBackOnceForEachTimeTheSessionEnds) {
    story.play({{"launch", launched},
                {"try, accept", signedIn + offered + "menus n; made 3"},
                {"grey 117.3", "look light 117"},
                {"grey 114.75", "look dark 115"},
                // The page's data takes a while to clear, and the page asks once more.
                {"hold, leave, leave", "no jar; waits 1"},
                {"release-all", "window sign-in 'ann'; look dark ; no web; no menus; no waits; made 4"},
                {"try, accept, leave", "made 7"}});
}

TEST_F(AppDelegateTest, leavesTheApplicationOnceWhoeverNoticesFirstAndNoneThatIsShownMeanwhile) {
    program.dock.badge = 3;
    story.play(
        {{"session, launch, activate", cameBack + "menus n; made 1"},
         {"lose, notice, hold, activate, seconds 0", "no jar; no web; waits 2"},
         {"release", "window sign-in ''; no menus; waits 1; no badge; made 2"},
         {"release-all", "no waits"},
         {"session, launch", page + "presented 2; window page; jar; web; menus n; made 3"},
         {"hold, activate, leave, release", "window sign-in ''; no jar; no web; no menus; waits 3; made 4"}});
}

TEST_F(AppDelegateTest, pressesThePagesKeysForTheMenusAndOnlyWhileThePageIsThere) {
    const std::string run = "window.__brisko && window.__brisko.run(";
    const std::string news = "1.2.3, 2026-11-23, What’s new, https://brisko.example/changelog";
    story.play({{"menu Privacy Policy", "opens https://brisko.example/privacy"},
                {"menu About brisko", news + "; presented 1"},
                {"launch, menu New Task, menu Reload, menu Zoom In",
                 "presented 2; window sign-in ''; look dark ; made 1"},
                {"session, launch", page + "presented 3; window page; jar; web; menus n; made 2"},
                {R"(bind {"newTask":"alt+j","search":""})", "menus j"},
                {"menu New Task, menu Filter This List", run + "\"alt+j\")"},
                {"menu Search All Tasks", run + "\"mod+k\")"},
                {"menu Settings…", run + "\"mod+,\")"},
                {"menu Zoom In", "zoomed 10"},
                {"menu Zoom Out, menu Zoom Out", "zoomed -10"},
                {"menu Actual Size, menu Reload", "again; no zoomed"}});
}

TEST_F(AppDelegateTest, offersAPasscodeWithAPasswordAndAsksForItOnceTheSessionIsOver) {
    story.play({{"launch", launched},
                {"google, browser brisko://auth?code=1, accept", signedIn + "menus n; made 2"},
                {"leave, try, accept", page + offered + "made 5"},
                {"code 1234, code 1234", "no sheet; menus nl; record"},
                {"leave, try, accept", page + "made 7"},
                {"leave, launch", "presented 2; window unlock/code; no jar; no web; no menus; made 9"},
                {"code 1234, accept", signedIn + "menus nl; made 10"},
                {"leave, launch", "presented 3; window unlock/code; no jar; no web; no menus; made 12"},
                {"instead", "window sign-in 'ann'; no record; made 13"}});
}

TEST_F(AppDelegateTest, showsTheApplicationAtOnceWhileTheSessionLivesAndDropsARecordThatNothingIsKnownOf) {
    account.defaults.unreadable = true;
    story.play({{"passcode, session, launch", cameBack + "menus n; record; made 1"}});
    account.defaults.unreadable = false;
    story.play({{"launch", page + "presented 2; menus nl; made 2"}});
    account.defaults.remove("brisko.passcode.username");
    story.play({{"launch", page + "presented 3; menus n; no record; made 3"}});
}

TEST_F(AppDelegateTest, locksOnceTheWindowHasBeenLeftAloneForLongEnoughAndBeforeTheMachineSleeps) {
    story.play({{"passcode, session, launch", cameBack + "menus nl; record; made 1"},
                {"seconds 240, input, seconds 285", ""},
                {"seconds 15", "lock relock/code; menus n; made 2"},
                {"menu Lock Now, seconds 3600, code 1234", "no lock; menus nl"},
                {"seconds 285", ""},
                {"seconds 15", "lock relock/code; menus n; made 3"},
                {"code 1234, sleep", "awake 1; made 4"},
                {"drawn", "no awake"},
                {"code 1234", "no lock; menus nl"},
                {"late-input", "lock relock/code; menus n; made 5"}});
}

TEST_F(AppDelegateTest, locksByItselfOnlyWhereThatIsSwitchedOnAndThereIsSomethingToUnlockWith) {
    story.play({{"launch, lock-session, seconds 86400, sleep", launched},
                {"try, accept, lock-session, seconds 86400, sleep", signedIn + offered + "menus n; made 3"},
                {"passcode, lock-session", "lock relock/code; record; made 4"},
                {"code 1234, stay-open", "no lock; menus nl"},
                {"lock-session, seconds 86400, sleep", ""},
                {"menu Lock Now", "lock relock/code; menus n; made 5"}});
}

TEST_F(AppDelegateTest, isLockedFromTheStartInASessionThatIsAndNotLongerThanThePageIsShown) {
    desktop.locked = true;
    story.play(
        {{"passcode, session, launch", cameBack + "lock relock/code; menus n; record; made 2"},
         {"leave", "window sign-in ''; no jar; no web; no lock; no menus; made 3"},
         {"try, accept", signedIn + "menus nl; made 4"},
         {"menu Lock Now, lose, activate", "window sign-in 'ann'; no jar; no web; no menus; made 6"},
         {"session, launch", page + "presented 2; window page; jar; web; lock relock/code; menus n; made 8"},
         {"forget, code 1234", "no record"},
         {"instead", "window sign-in 'ann'; no jar; no web; no lock; no menus; made 9"}});
}

TEST_F(AppDelegateTest, goesBetweenTheLockSettingsAndThePasscodeAndTellsOnceThatTheyAreDone) {
    account.remembered.setUsername("ann");
    story.play({{"session, launch, settings", cameBack + "sheet settings; menus n; made 2"},
                {"change", "sheet set-up/password of ann; made 3"},
                {"escape", "sheet settings; made 4"},
                {"done", "no sheet; settled 1"},
                {"settings", "sheet settings; made 5"},
                {"menu Lock & Passcode…", "settled 2; made 6"},
                {"done", "no sheet"},
                {"passcode, settings, clear-shortcut", "sheet settings; menus n?; record; made 7"},
                // A sheet may be over another screen by the time.
                {"leave", "window sign-in 'ann'; no jar; no web; no menus; made 8"},
                {"done", "no sheet; settled 3"}});
}

TEST_F(AppDelegateTest, asksTheOwnerAtEachActivationWhileThatIsSwitchedOnAndHearsNothingOnceItHasGone) {
    account.defaults.set("brisko.lock.enabled", true);
    story.play({{"launch", "presented 1; window sign-in ''; look dark ; covered; made 1"},
                {"activate", "asks to unlock brisko"},
                {"owner, try", "window sign-in 'ann'; no covered"},
                {"lock-session", "covered"},
                {"press-cover", "asks to unlock brisko"},
                {"owner", "no covered"}});
    quit();
    account.acceptSignIn();
    EXPECT_EQ(screens.made, 1);
    EXPECT_TRUE(desktop.sleep());
}
