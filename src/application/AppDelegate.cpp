#include "application/AppDelegate.h"

#include "web/OpenedUrl.h"

std::shared_ptr<AppDelegate> AppDelegate::make(BriskoAPI& api, Remembered& remembered, Workspace& workspace,
                                               Window& window, ScreenFactory& screens) {
    // The constructor is private, so that callbacks can always hold the delegate weakly.
    return std::shared_ptr<AppDelegate>(new AppDelegate(api, remembered, workspace, window, screens));
}

AppDelegate::AppDelegate(BriskoAPI& api, Remembered& remembered, Workspace& workspace, Window& window,
                         ScreenFactory& screens)
    : api_(api), remembered_(remembered), workspace_(workspace), window_(window), screens_(screens) {}

void AppDelegate::applicationDidFinishLaunching() {
    window_.setBackground(Chrome::canvas);
    window_.setAppearance(Window::Appearance::dark);
    spawn(chooseFirstScreen());
    window_.present();
}

void AppDelegate::applicationShouldHandleReopen() {
    window_.present();
}

void AppDelegate::open(const std::vector<std::string>& urls) {
    for (const auto& url : urls) {
        const auto path = OpenedUrl::servicePath(url);
        if (!path)
            continue;
        if (showingApp_ && shell_)
            shell_->webView().evaluate("window.location.href = " + WebShell::literal(*path));
        else
            pending_ = path;
    }
    window_.present();
}

Task<> AppDelegate::chooseFirstScreen() {
    const auto self = shared_from_this();
    auto asking = api_.hasLiveSession();
    const auto live = co_await std::move(asking);
    if (!live) {
        showAuth();
        co_return;
    }
    auto handingOver = api_.handOverSession();
    co_await std::move(handingOver);
    showApp();
}

void AppDelegate::swap(Screen& screen) {
    const auto frame = window_.frame();
    window_.setContent(screen);
    window_.setFrame(frame);
}

void AppDelegate::showApp() {
    showingApp_ = true;
    auto shell = std::make_unique<WebShell>(api_, screens_.webView(), workspace_);
    shell->onSignedOut = [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->signedOut();
    };
    swap(shell->webView());
    shell_ = std::move(shell);
    authScreen_.reset();
    shell_->load(pending_);
    pending_.reset();
}

void AppDelegate::showAuth() {
    showingApp_ = false;
    window_.setAppearance(Window::Appearance::dark);
    window_.setBackground(Chrome::canvas);
    auto view = AuthView::make(api_, remembered_, workspace_,
                               [weak = weak_from_this()](const std::optional<std::string>&) {
                                   if (const auto self = weak.lock())
                                       self->showApp();
                               });
    auto screen = screens_.authScreen(std::move(view));
    swap(*screen);
    authScreen_ = std::move(screen);
    shell_.reset();
}

void AppDelegate::signedOut() {
    if (!showingApp_ || endingSession_)
        return;
    endingSession_ = true;
    spawn(endSession());
}

Task<> AppDelegate::endSession() {
    const auto self = shared_from_this();
    auto signingOut = api_.signOut();
    co_await std::move(signingOut);
    endingSession_ = false;
    showAuth();
}
