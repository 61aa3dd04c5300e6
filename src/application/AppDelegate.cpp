#include "application/AppDelegate.h"

#include "web/OpenedUrl.h"

std::shared_ptr<AppDelegate> AppDelegate::make(const Surroundings& surroundings) {
    // The constructor is private, so that callbacks can always hold the delegate weakly.
    return std::shared_ptr<AppDelegate>(new AppDelegate(surroundings));
}

AppDelegate::AppDelegate(const Surroundings& surroundings) : with_(surroundings) {}

void AppDelegate::applicationDidFinishLaunching() {
    darken();
    spawn(chooseFirstScreen());
    with_.window.present();
}

void AppDelegate::applicationShouldHandleReopen() {
    with_.window.present();
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
    with_.window.present();
}

Task<> AppDelegate::chooseFirstScreen() {
    const auto self = shared_from_this();
    auto asking = with_.api.hasLiveSession();
    const auto live = co_await std::move(asking);
    if (live) {
        auto handingOver = with_.api.handOverSession();
        co_await std::move(handingOver);
        showApp();
    }
    // Waits for the keyring only where a passcode was being set when the program ended.
    auto reconciling = with_.passcode.reconcile();
    co_await std::move(reconciling);
    auto shape = with_.passcode.shape();
    if (!shape && with_.passcode.shapeIsKnown())
        spawn(with_.passcode.clear());
    if (live)
        co_return;
    if (shape)
        showPasscode(PasscodeView::Unlock{std::move(*shape)});
    else
        showAuth();
}

void AppDelegate::swap(std::unique_ptr<Screen> screen) {
    const auto frame = with_.window.frame();
    with_.window.setContent(*screen);
    with_.window.setFrame(frame);
    // What was in the window goes only now that it is out of it.
    nativeScreen_ = std::move(screen);
    shell_.reset();
}

void AppDelegate::showApp() {
    showingApp_ = true;
    auto shell = std::make_unique<WebShell>(with_.api, with_.screens.webView(), with_.workspace);
    shell->onSignedOut = weakly(&AppDelegate::signedOut);
    const auto frame = with_.window.frame();
    with_.window.setContent(shell->webView());
    with_.window.setFrame(frame);
    shell_ = std::move(shell);
    nativeScreen_.reset();
    shell_->load(pending_);
    pending_.reset();
}

void AppDelegate::showAuth() {
    showingApp_ = false;
    darken();
    auto view = AuthView::make(with_.api, with_.remembered, with_.workspace,
                               [weak = weak_from_this()](std::optional<SecretText> password) {
                                   const auto self = weak.lock();
                                   if (!self)
                                       return;
                                   self->showApp();
                                   if (password && !self->with_.passcode.shape())
                                       self->offerPasscode(std::move(*password));
                               });
    swap(with_.screens.authScreen(std::move(view)));
}

void AppDelegate::showPasscode(PasscodeView::Mode mode) {
    showingApp_ = false;
    darken();
    PasscodeView::Callbacks callbacks;
    callbacks.onUnlocked = weakly(&AppDelegate::showApp);
    callbacks.onPassword = weakly(&AppDelegate::showAuth);
    callbacks.onDone = weakly(&AppDelegate::showApp);
    auto view = PasscodeView::make(std::move(mode), std::move(callbacks), with_.passcode, with_.api,
                                   with_.clock, with_.queue);
    swap(with_.screens.passcodeScreen(std::move(view)));
}

void AppDelegate::offerPasscode(std::optional<SecretText> password) {
    PasscodeView::Setup setup;
    setup.username = with_.remembered.username();
    setup.password = std::move(password);
    PasscodeView::Callbacks callbacks;
    callbacks.onDone = weakly(&AppDelegate::dismissSheet);
    auto view = PasscodeView::make(std::move(setup), std::move(callbacks), with_.passcode, with_.api,
                                   with_.clock, with_.queue);
    presentSheet(with_.screens.passcodeScreen(std::move(view)));
}

void AppDelegate::changePasscode(int length, std::function<void()> then) {
    PasscodeView::Callbacks callbacks;
    callbacks.onDone = [dismiss = weakly(&AppDelegate::dismissSheet), then = std::move(then)] {
        // The sheet takes this callback with it.
        const auto next = then;
        dismiss();
        if (next)
            next();
    };
    PasscodeView::Mode mode = PasscodeView::Setup{with_.remembered.username(), std::nullopt};
    if (auto shape = with_.passcode.shape())
        mode = PasscodeView::Change{std::move(*shape), length};
    auto view = PasscodeView::make(std::move(mode), std::move(callbacks), with_.passcode, with_.api,
                                   with_.clock, with_.queue);
    presentSheet(with_.screens.passcodeScreen(std::move(view)));
}

void AppDelegate::presentSheet(std::unique_ptr<Screen> screen) {
    dismissSheet();
    with_.window.presentSheet(*screen);
    sheet_ = std::move(screen);
}

void AppDelegate::dismissSheet() {
    if (!sheet_)
        return;
    with_.window.dismissSheet();
    sheet_.reset();
}

void AppDelegate::darken() {
    with_.window.setAppearance(Window::Appearance::dark);
    with_.window.setBackground(Chrome::canvas);
}

void AppDelegate::signedOut() {
    if (!showingApp_ || endingSession_)
        return;
    endingSession_ = true;
    spawn(endSession());
}

Task<> AppDelegate::endSession() {
    const auto self = shared_from_this();
    auto signingOut = with_.api.signOut();
    co_await std::move(signingOut);
    endingSession_ = false;
    showAuth();
}

std::function<void()> AppDelegate::weakly(void (AppDelegate::*action)()) {
    return [weak = weak_from_this(), action] {
        if (const auto self = weak.lock())
            ((*self).*action)();
    };
}
