#include "application/AppDelegate.h"
#include "lock/LockPreferences.h"

// The members that lock the window, and the sheets on which that is set up.

void AppDelegate::watchForIdleness() {
    activity_ = with_.events.observeInput([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self)
            return;
        // Whoever comes between the end of the delay and the next look comes too late.
        if (self->with_.clock.now() - self->lastUse_ >= LockPreferences::shortestDelay)
            self->lockIfLeftAlone();
        self->lastUse_ = self->with_.clock.now();
    });
    checkIdleness();
}

void AppDelegate::checkIdleness() {
    with_.queue.after(IdleLock::interval, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self)
            return;
        self->lockIfLeftAlone();
        self->checkIdleness();
    });
}

void AppDelegate::watchDesktop() {
    with_.desktop.onLocked = weakly(&AppDelegate::lockByItself);
    with_.desktop.onSleep = [weak = weak_from_this()](std::function<void()> ready) {
        const auto self = weak.lock();
        if (self)
            self->lockByItself();
        if (self && (self->lock_ || self->with_.window.isCovered()))
            self->with_.window.whenDrawn(std::move(ready));
        else
            ready();
    };
}

IdleLock::State AppDelegate::idleState() const {
    const LockPreferences preferences(with_.defaults);
    IdleLock::State state;
    state.switchedOn = preferences.automatic();
    state.pageShown = showingApp_;
    state.alreadyLocked = lock_ != nullptr;
    state.shape = with_.passcode.shape();
    state.delay = preferences.delay();
    return state;
}

void AppDelegate::lockIfLeftAlone() {
    const auto now = with_.clock.now();
    lastUse_ = IdleLock::believableUse(lastUse_, now);
    const auto state = idleState();
    if (IdleLock::isDue(state, lastUse_, now))
        showLock(*state.shape);
}

void AppDelegate::lockByItself() {
    with_.appLock.cover();
    const auto state = idleState();
    if (IdleLock::isArmed(state))
        showLock(*state.shape);
}

void AppDelegate::lockNow() {
    if (const auto shape = with_.passcode.shape(); showingApp_ && shape)
        showLock(*shape);
}

void AppDelegate::showLock(Passcode::Shape shape) {
    if (lock_)
        return;
    PasscodeView::Callbacks callbacks;
    callbacks.onUnlocked = weakly(&AppDelegate::hideLock);
    callbacks.onDone = weakly(&AppDelegate::hideLock);
    callbacks.onPassword = [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self)
            return;
        self->hideLock();
        self->showAuth();
    };
    auto view = PasscodeView::make(PasscodeView::Relock{std::move(shape)}, std::move(callbacks),
                                   with_.passcode, with_.api, with_.clock, with_.queue);
    lock_ = with_.screens.passcodeScreen(std::move(view));
    with_.window.showOverlay(*lock_);
    lastUse_ = with_.clock.now();
    menusChanged();
}

void AppDelegate::hideLock() {
    if (lock_) {
        with_.window.removeOverlay();
        lock_.reset();
        menusChanged();
    }
    lastUse_ = with_.clock.now();
}

void AppDelegate::showLockSettings(std::function<void()> then) {
    presentLockSettings(std::make_shared<Ending>(std::move(then)));
}

void AppDelegate::presentLockSettings(std::shared_ptr<Ending> then) {
    LockSettingsView::Callbacks callbacks;
    callbacks.onChangePasscode = [weak = weak_from_this(), then](int length) {
        const auto self = weak.lock();
        if (!self)
            return;
        // The sheet takes this callback with it.
        auto next = then;
        self->dismissSheet();
        self->changePasscode(length, std::move(next));
    };
    callbacks.onDone = [weak = weak_from_this(), then] {
        const auto end = then; // NOLINT(performance-unnecessary-copy-initialization): the sheet takes `then`
        if (const auto self = weak.lock())
            self->dismissSheet();
        end->end();
    };
    const auto shortcutChanged = [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->with_.menus.applyLockShortcut();
    };
    auto view = LockSettingsView::make(!with_.remembered.username().empty(), std::move(callbacks),
                                       with_.passcode, with_.defaults, shortcutChanged);
    presentSheet(with_.screens.lockSettingsScreen(std::move(view)));
}

void AppDelegate::changePasscode(int length, std::shared_ptr<Ending> then) {
    PasscodeView::Callbacks callbacks;
    callbacks.onDone = [weak = weak_from_this(), then] {
        const auto self = weak.lock();
        if (!self)
            return;
        auto next = then;
        self->dismissSheet();
        self->presentLockSettings(std::move(next));
    };
    PasscodeView::Mode mode = PasscodeView::Setup{with_.remembered.username(), std::nullopt};
    if (auto shape = with_.passcode.shape())
        mode = PasscodeView::Change{std::move(*shape), length};
    auto view = PasscodeView::make(std::move(mode), std::move(callbacks), with_.passcode, with_.api,
                                   with_.clock, with_.queue);
    presentSheet(with_.screens.passcodeScreen(std::move(view)));
}
