#include "application/AppDelegate.h"

#include "web/OpenedUrl.h"
#include "web/PageZoom.h"

namespace {

/// Colours of this luminance and above are light (ITU-R BT.709 weights, applied to the components as they
/// are).
constexpr double lightFrom = 0.45;

double luminance(const Color& color) {
    return 0.2126 * color.red + 0.7152 * color.green + 0.0722 * color.blue;
}

} // namespace

std::shared_ptr<AppDelegate> AppDelegate::make(const Surroundings& surroundings) {
    // The constructor is private, so that callbacks can always hold the delegate weakly.
    return std::shared_ptr<AppDelegate>(new AppDelegate(surroundings));
}

AppDelegate::AppDelegate(const Surroundings& surroundings)
    : with_(surroundings), lastUse_(surroundings.clock.now()) {}

void AppDelegate::applicationDidBecomeActive() {
    with_.appLock.challenge();
    if (showingApp_)
        spawn(checkSession());
}

void AppDelegate::applicationDidFinishLaunching() {
    with_.notifications.onOpen = weakly(&AppDelegate::comeForward);
    with_.menus.onChanged = weakly(&AppDelegate::menusChanged);
    darken();
    // A window that comes up behind another one belongs to nobody yet.
    with_.appLock.hide();
    watchForIdleness();
    watchDesktop();
    spawn(chooseFirstScreen());
    with_.window.present();
}

void AppDelegate::applicationShouldHandleReopen() {
    comeForward();
}

void AppDelegate::comeForward() {
    with_.window.present();
}

void AppDelegate::open(const std::vector<std::string>& urls) {
    for (const auto& url : urls) {
        const auto path = OpenedUrl::servicePath(url);
        if (!path)
            continue;
        if (showingApp_ && shell_)
            shell_->go(*path);
        else
            pending_ = path;
    }
    comeForward();
}

Task<> AppDelegate::chooseFirstScreen() {
    const auto self = shared_from_this();
    const auto live = co_await with_.api.hasLiveSession();
    if (live) {
        co_await with_.api.handOverSession();
        showApp();
        // Started by another than the person, while that one is away.
        if (with_.desktop.isLocked())
            lockByItself();
    }
    // Waits for the keyring only where a passcode was being set when the program ended.
    co_await with_.passcode.reconcile();
    auto shape = with_.passcode.shape();
    if (!shape && with_.passcode.shapeIsKnown())
        spawn(with_.passcode.clear());
    if (live)
        co_return;
    if (shape)
        showPasscode(PasscodeView::Unlock{std::move(*shape), with_.foreignHost});
    else
        showAuth();
}

void AppDelegate::swap(Screen& screen) {
    const auto frame = with_.window.frame();
    with_.window.setContent(screen);
    with_.window.setFrame(frame);
}

void AppDelegate::showApp() {
    showingApp_ = true;
    appsShown_ += 1;
    const Bridge::Surroundings bridge = {with_.notifications, with_.reminders,  with_.appLock,
                                         with_.passcode,      with_.remembered, with_.defaults};
    const WebShell::Surroundings surroundings = {with_.api,    with_.webData,   with_.workspace,
                                                 with_.panels, with_.downloads, with_.queue,
                                                 with_.clock,  bridge};
    auto shell = std::make_unique<WebShell>(surroundings, with_.screens.webView());
    shell->onBackground = [weak = weak_from_this()](Color color) {
        if (const auto self = weak.lock())
            self->tint(color);
    };
    shell->onShortcuts = [weak = weak_from_this()](const Shortcuts& shortcuts) {
        if (const auto self = weak.lock())
            self->with_.menus.adopt(shortcuts);
    };
    shell->onSignedOut = weakly(&AppDelegate::signedOut);
    shell->onOwnLink = [weak = weak_from_this()](const std::string& url) {
        if (const auto self = weak.lock())
            self->open({url});
    };
    shell->isOutOfSight = [weak = weak_from_this()] {
        const auto self = weak.lock();
        return !self || self->lock_ || self->with_.window.isCovered();
    };
    shell->bridge().showLockSettings = [weak = weak_from_this()](std::function<void()> done) {
        const auto self = weak.lock();
        if (self)
            self->showLockSettings(std::move(done));
        return self != nullptr;
    };
    swap(shell->webView());
    // What was in the window goes only now that it is out of it.
    shell_ = std::move(shell);
    nativeScreen_.reset();
    shell_->load(pending_);
    pending_.reset();
    menusChanged();
}

void AppDelegate::showNative(std::unique_ptr<Screen> screen) {
    swap(*screen);
    nativeScreen_ = std::move(screen);
    if (shell_)
        pending_ = shell_->unanswered();
    shell_.reset();
    menusChanged();
}

void AppDelegate::showAuth() {
    showingApp_ = false;
    with_.dock.setBadge(0);
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
    showNative(with_.screens.authScreen(std::move(view)));
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
    showNative(with_.screens.passcodeScreen(std::move(view)));
}

void AppDelegate::offerPasscode(SecretText password) {
    PasscodeView::Setup setup;
    setup.username = with_.remembered.username();
    setup.password = std::move(password);
    PasscodeView::Callbacks callbacks;
    callbacks.onDone = weakly(&AppDelegate::dismissSheet);
    auto view = PasscodeView::make(std::move(setup), std::move(callbacks), with_.passcode, with_.api,
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
    menusChanged(); // a passcode may have been set or turned off
}

void AppDelegate::darken() {
    with_.window.setAppearance(Window::Appearance::dark);
    with_.window.setBackground(Chrome::canvas);
}

void AppDelegate::tint(Color color) {
    if (!showingApp_)
        return;
    with_.window.setBackground(color);
    with_.window.setAppearance(luminance(color) < lightFrom ? Window::Appearance::dark
                                                            : Window::Appearance::light);
}

void AppDelegate::signedOut() {
    if (!showingApp_ || endingSession_)
        return;
    endingSession_ = true;
    spawn(endSession());
}

Task<> AppDelegate::endSession() {
    const auto self = shared_from_this();
    const auto shown = appsShown_;
    co_await with_.api.signOut();
    endingSession_ = false;
    if (!showingApp_ || shown != appsShown_)
        co_return;
    // Only now: the page would stand uncovered while its session is being cleared.
    hideLock();
    showAuth();
}

Task<> AppDelegate::checkSession() {
    const auto self = shared_from_this();
    const auto shown = appsShown_;
    const auto live = co_await with_.api.hasLiveSession();
    if (live || !showingApp_ || shown != appsShown_)
        co_return;
    hideLock();
    showAuth();
}

bool AppDelegate::validate(const MenuItem& item) const {
    MenuState state;
    state.showingApp = showingApp_;
    state.hasPasscode = with_.passcode.shape().has_value();
    state.locked = lock_ != nullptr;
    return with_.menus.isEnabled(item, state);
}

void AppDelegate::perform(MenuCommand command) {
    // A key may arrive while the item is not to be chosen.
    if (!validate(with_.menus.item(command)))
        return;
    switch (command) {
    case MenuCommand::showAbout:
        showAbout();
        break;
    case MenuCommand::openLockSettings:
        showLockSettings({});
        break;
    case MenuCommand::lockNow:
        lockNow();
        break;
    case MenuCommand::openNotifications:
        spawn(with_.notifications.reconsider());
        break;
    case MenuCommand::openGuides:
        openPage("guides");
        break;
    case MenuCommand::openPrivacy:
        openPage("privacy");
        break;
    default:
        if (shell_)
            performInPage(command);
    }
}

void AppDelegate::performInPage(MenuCommand command) {
    auto& page = shell_->webView();
    switch (command) {
    case MenuCommand::reloadPage:
        page.reload();
        break;
    case MenuCommand::actualSize:
        page.setPageZoom(PageZoom::actual);
        break;
    case MenuCommand::zoomIn:
        page.setPageZoom(PageZoom::in(page.pageZoom()));
        break;
    case MenuCommand::zoomOut:
        page.setPageZoom(PageZoom::out(page.pageZoom()));
        break;
    default:
        if (const auto action = with_.menus.item(command).action)
            shell_->run(*action);
    }
}

void AppDelegate::showAbout() {
    AboutPanel::Info info{with_.bundle.shortVersion, with_.bundle.versionDate, "What\u2019s new",
                          with_.api.origin().appendingPath("changelog")};
    with_.window.present();
    with_.aboutPanel.show(info);
}

void AppDelegate::openPage(const char* path) {
    with_.workspace.open(with_.api.origin().appendingPath(path));
}

void AppDelegate::menusChanged() {
    if (onMenusChanged)
        onMenusChanged();
}

std::function<void()> AppDelegate::weakly(void (AppDelegate::*action)()) {
    return [weak = weak_from_this(), action] {
        if (const auto self = weak.lock())
            ((*self).*action)();
    };
}
