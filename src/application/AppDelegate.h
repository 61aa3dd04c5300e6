#pragma once

#include "account/AuthView.h"
#include "account/BriskoAPI.h"
#include "account/Remembered.h"
#include "lock/Passcode.h"
#include "lock/PasscodeView.h"
#include "platform/Window.h"
#include "platform/Workspace.h"
#include "web/WebShell.h"

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
    virtual std::unique_ptr<WebView> webView() = 0;
};

/// The spine of the program: decides which screen fills the one window and what replaces it when a screen
/// reports back.
///
/// Everything runs on the main thread. What it hands to screens and tasks holds it weakly: a callback that
/// comes after it has gone does nothing.
class AppDelegate : public std::enable_shared_from_this<AppDelegate> {
public:
    /// What the delegate works with; all of it outlives it.
    struct Surroundings {
        BriskoAPI& api;
        Remembered& remembered;
        Passcode& passcode;
        Workspace& workspace;
        Clock& clock;
        MainQueue& queue;
        Window& window;
        ScreenFactory& screens;
    };

    static std::shared_ptr<AppDelegate> make(const Surroundings& surroundings);

    /// Shows the window, drops a passcode record that nothing is known of, and starts the task that chooses
    /// the first screen.
    void applicationDidFinishLaunching();
    /// Closing the window hides it; the program goes on.
    bool applicationShouldTerminateAfterLastWindowClosed() const { return false; }
    /// The person asked for the program again: its window comes forward.
    void applicationShouldHandleReopen();
    /// URLs given to the program: "new", "today" and "search" open that page, now or when the web application
    /// is next shown; others are skipped. The window comes forward in any case.
    void open(const std::vector<std::string>& urls);

    /// Presents the passcode screen as a sheet: for a new passcode of `length` digits in place of the stored
    /// one, or for a first one. `then` is called when it has ended.
    void changePasscode(int length, std::function<void()> then);
    /// Presents the passcode screen as a sheet on which a passcode is chosen, again where there is one, or
    /// turned off. The password is asked for.
    void setUpPasscode() { offerPasscode(std::nullopt); }

private:
    explicit AppDelegate(const Surroundings& surroundings);

    Task<> chooseFirstScreen();
    void swap(std::unique_ptr<Screen> screen);
    void showApp();
    void showAuth();
    void showPasscode(PasscodeView::Mode mode);
    void offerPasscode(std::optional<SecretText> password);
    void presentSheet(std::unique_ptr<Screen> screen);
    void dismissSheet();
    void darken();
    void signedOut();
    Task<> endSession();
    /// A callback that does nothing once the delegate has gone.
    std::function<void()> weakly(void (AppDelegate::*action)());

    Surroundings with_;

    std::unique_ptr<WebShell> shell_;
    std::unique_ptr<Screen> nativeScreen_; ///< the sign-in or passcode screen in the window
    std::unique_ptr<Screen> sheet_;
    bool showingApp_ = false;
    bool endingSession_ =
        false; ///< a page may go to its sign-in page again while the session is being cleared
    std::optional<std::string> pending_; ///< a service path for the next time the web application is shown
};
