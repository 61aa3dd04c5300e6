#pragma once

#include "account/AuthView.h"
#include "account/BriskoAPI.h"
#include "account/Remembered.h"
#include "application/Ending.h"
#include "application/MenuTarget.h"
#include "application/Menus.h"
#include "lock/AppLock.h"
#include "lock/IdleLock.h"
#include "lock/LockSettingsView.h"
#include "lock/Passcode.h"
#include "lock/PasscodeView.h"
#include "platform/AboutPanel.h"
#include "platform/DesktopSession.h"
#include "platform/Dock.h"
#include "platform/EventMonitor.h"
#include "platform/Panels.h"
#include "platform/Window.h"
#include "platform/Workspace.h"
#include "reminders/Notifications.h"
#include "reminders/Reminders.h"
#include "web/Downloads.h"
#include "web/WebShell.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Draws the screens that the delegate decides on. The web view's engine starts with the first `webView()`.
class ScreenFactory {
public:
    virtual ~ScreenFactory() = default;

    virtual std::unique_ptr<Screen> authScreen(std::shared_ptr<AuthView> view) = 0;
    virtual std::unique_ptr<Screen> passcodeScreen(std::shared_ptr<PasscodeView> view) = 0;
    virtual std::unique_ptr<Screen> lockSettingsScreen(std::shared_ptr<LockSettingsView> view) = 0;
    virtual std::unique_ptr<WebView> webView() = 0;
};

/// The spine of the program: decides which screen fills the one window and what replaces it when a screen
/// reports back, and carries out what the menus ask for.
///
/// Everything runs on the main thread. What it hands to screens and tasks holds it weakly: a callback that
/// comes after it has gone does nothing.
class AppDelegate : public MenuTarget, public std::enable_shared_from_this<AppDelegate> {
public:
    /// What the program says of itself; none where the build does not know.
    struct Bundle {
        std::optional<std::string> shortVersion; ///< "1.2.3"
        std::optional<std::string> versionDate;
    };

    /// What the delegate works with; all of it outlives it.
    struct Surroundings {
        BriskoAPI& api;
        Remembered& remembered;
        Passcode& passcode;
        UserDefaults& defaults;
        AppLock& appLock;
        EventMonitor& events;
        DesktopSession& desktop;
        Notifications& notifications;
        Reminders& reminders;
        WebDataStore& webData;
        Workspace& workspace;
        Clock& clock;
        MainQueue& queue;
        Window& window;
        Panels& panels;
        AboutPanel& aboutPanel;
        Dock& dock;
        Downloads& downloads;
        Menus& menus;
        ScreenFactory& screens;
        Bundle bundle;
        /// The service's, where it is not the one that the program was built for.
        std::optional<std::string> foreignHost = {};
    };

    static std::shared_ptr<AppDelegate> make(const Surroundings& surroundings);

    /// Shows the window, begins to watch for idleness, drops a passcode record that nothing is known of, and
    /// starts the task that chooses the first screen.
    void applicationDidFinishLaunching();
    /// A window of the program has the keyboard, after none had: the owner may have to prove who they are,
    /// and a session that has ended meanwhile is noticed.
    void applicationDidBecomeActive();
    /// No window of the program has the keyboard any more.
    void applicationDidResignActive() { with_.appLock.hide(); }
    /// Closing the window hides it; the program goes on.
    bool applicationShouldTerminateAfterLastWindowClosed() const { return false; }
    /// The person asked for the program again: its window comes forward.
    void applicationShouldHandleReopen();
    /// URLs given to the program: "new", "today" and "search" open that page, now or when the web application
    /// is next shown; others are skipped. The window comes forward in any case.
    void open(const std::vector<std::string>& urls);

    const Menus& menus() const override { return with_.menus; }
    bool validate(const MenuItem& item) const override;
    void perform(MenuCommand command) override;

    /// Presents the lock settings as a sheet. `then`, which may be empty, is called once when they are done,
    /// however many sheets that takes, or when another sheet takes their place.
    void showLockSettings(std::function<void()> then);

private:
    explicit AppDelegate(const Surroundings& surroundings);

    Task<> chooseFirstScreen();
    void swap(Screen& screen);
    void showApp();
    void showAuth();
    void showPasscode(PasscodeView::Mode mode);
    void showNative(std::unique_ptr<Screen> screen);
    void offerPasscode(SecretText password);
    void presentLockSettings(std::shared_ptr<Ending> then);
    void changePasscode(int length, std::shared_ptr<Ending> then);
    void watchForIdleness();
    void watchDesktop();
    void checkIdleness();
    IdleLock::State idleState() const;
    void lockIfLeftAlone();
    /// Locks without waiting for the delay, where the window may lock by itself at all.
    void lockByItself();
    void lockNow();
    void showLock(Passcode::Shape shape);
    void hideLock();
    void presentSheet(std::unique_ptr<Screen> screen);
    void dismissSheet();
    void darken();
    void comeForward();
    void tint(Color color);
    void signedOut();
    Task<> endSession();
    Task<> checkSession();
    void performInPage(MenuCommand command);
    void showAbout();
    void openPage(const char* path);
    void menusChanged();
    /// A callback that does nothing once the delegate has gone.
    std::function<void()> weakly(void (AppDelegate::*action)());

    Surroundings with_;

    std::unique_ptr<WebShell> shell_;
    std::unique_ptr<Screen> nativeScreen_; ///< the sign-in or passcode screen in the window
    std::unique_ptr<Screen> sheet_;
    std::unique_ptr<Screen> lock_;   ///< the overlay while the window is locked
    Clock::time_point lastUse_;      ///< of the last input
    std::shared_ptr<void> activity_; ///< the watch for input
    bool showingApp_ = false;
    std::uint64_t appsShown_ = 0; ///< tells a look at the session of an application that is no longer shown
    bool endingSession_ =
        false; ///< a page may go to its sign-in page again while the session is being cleared
    std::optional<std::string> pending_; ///< a service path for the next time the web application is shown
};
