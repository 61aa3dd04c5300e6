#pragma once

#include "account/AuthView.h"
#include "account/BriskoAPI.h"
#include "account/Remembered.h"
#include "platform/Window.h"
#include "platform/Workspace.h"
#include "web/WebShell.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Draws the screens that the delegate decides on. The web view's engine starts with the first `webView()`.
class ScreenFactory {
public:
    virtual ~ScreenFactory() = default;

    virtual std::unique_ptr<Screen> authScreen(std::shared_ptr<AuthView> view) = 0;
    virtual std::unique_ptr<WebView> webView() = 0;
};

/// The spine of the program: decides which screen fills the one window and what replaces it when a screen reports back.
///
/// Everything runs on the main thread. What it hands to screens and tasks holds it weakly: a callback that comes after
/// it has gone does nothing.
class AppDelegate : public std::enable_shared_from_this<AppDelegate> {
public:
    static std::shared_ptr<AppDelegate> make(BriskoAPI& api, Remembered& remembered, Workspace& workspace,
                                             Window& window, ScreenFactory& screens);

    /// Shows the window and starts the task that chooses the first screen.
    void applicationDidFinishLaunching();
    /// Closing the window hides it; the program goes on.
    bool applicationShouldTerminateAfterLastWindowClosed() const { return false; }
    /// The person asked for the program again: its window comes forward.
    void applicationShouldHandleReopen();
    /// URLs given to the program: "new", "today" and "search" open that page, now or when the web application is next
    /// shown; others are skipped. The window comes forward in any case.
    void open(const std::vector<std::string>& urls);

private:
    AppDelegate(BriskoAPI& api, Remembered& remembered, Workspace& workspace, Window& window, ScreenFactory& screens);

    Task<> chooseFirstScreen();
    void swap(Screen& screen);
    void showApp();
    void showAuth();
    void signedOut();
    Task<> endSession();

    BriskoAPI& api_;
    Remembered& remembered_;
    Workspace& workspace_;
    Window& window_;
    ScreenFactory& screens_;

    std::unique_ptr<WebShell> shell_;
    std::unique_ptr<Screen> authScreen_;
    bool showingApp_ = false;
    bool endingSession_ = false; ///< a page may go to its sign-in page again while the session is being cleared
    std::optional<std::string> pending_; ///< a service path for the next time the web application is shown
};
