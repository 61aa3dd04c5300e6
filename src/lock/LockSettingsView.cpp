#include "lock/LockSettingsView.h"

#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <utility>

namespace {

constexpr int firstLength = 4;

/// Shift alone is not enough: a capital letter is typed.
constexpr KeyModifiers sufficient = KeyModifier::command | KeyModifier::control | KeyModifier::option;

/// The letter or digit that the key stands for, in lower case; empty when it is neither.
std::string shortcutKey(const std::string& text) {
    auto lower = icu::UnicodeString::fromUTF8(text);
    lower.toLower(icu::Locale::getRoot());
    if (lower.isEmpty())
        return {};
    const auto first = lower.char32At(0);
    std::string key;
    if (u_isalpha(first) || u_isdigit(first))
        icu::UnicodeString(first).toUTF8String(key);
    return key;
}

} // namespace

std::shared_ptr<LockSettingsView> LockSettingsView::make(bool canSetPasscode, Callbacks callbacks,
                                                         Passcode& store, UserDefaults& defaults,
                                                         std::function<void()> applyLockShortcut) {
    // The constructor is private, so that every view is owned the way its callbacks rely on.
    return std::shared_ptr<LockSettingsView>(new LockSettingsView(canSetPasscode, std::move(callbacks), store,
                                                                  defaults, std::move(applyLockShortcut)));
}

LockSettingsView::LockSettingsView(bool canSetPasscode, Callbacks callbacks, Passcode& store,
                                   UserDefaults& defaults, std::function<void()> applyLockShortcut)
    : canSetPasscode_(canSetPasscode),
      callbacks_(std::move(callbacks)),
      store_(store),
      preferences_(defaults),
      lockShortcut_(defaults),
      applyLockShortcut_(std::move(applyLockShortcut)) {
    const auto shape = store_.shape();
    state_.hasPasscode = shape.has_value();
    state_.digits = shape ? shape->digits : 0;
    state_.autoLock = preferences_.automatic();
    state_.minutes = preferences_.delay().count();
    state_.shortcut = lockShortcut_.display();
}

std::string LockSettingsView::explanation() const {
    return "This Mac only. Nothing here is synced, and no other device knows about it.";
}

std::string LockSettingsView::passcodeStatus() const {
    if (!state_.hasPasscode)
        return "Not set. Your password is the only way back in when a session runs out.";
    return "Set, " + std::to_string(state_.digits) +
           " digits. It stands in for your password when the session has run out.";
}

std::optional<std::string> LockSettingsView::sealingHint() const {
    if (canChange())
        return std::nullopt;
    return "Setting one seals your password, so it needs an account with a password, signed in on this Mac.";
}

std::string LockSettingsView::minutesUnit() const {
    return state_.minutes == 1 ? "minute of no typing or clicking" : "minutes of no typing or clicking";
}

std::optional<std::string> LockSettingsView::autoLockHint() const {
    if (state_.hasPasscode)
        return std::nullopt;
    return "Set a passcode first — there would be nothing to unlock it with.";
}

bool LockSettingsView::canClear() const {
    return state_.hasPasscode && !lockShortcut_.key().empty();
}

std::string LockSettingsView::shortcutHint() const {
    return state_.recording ? "Hold a modifier — ⌘, ⌃ or ⌥ — and press a key. Escape cancels."
                            : "Needs a modifier: a bare letter would fire while you were typing a task.";
}

void LockSettingsView::change() {
    if (canChange())
        leaveToChange(state_.hasPasscode ? state_.digits : firstLength);
}

void LockSettingsView::turnOff() {
    if (!state_.hasPasscode || left_)
        return;
    message_.reset();
    state_.recording = false;
    spawn(turnOff(shared_from_this()));
    // The keyring may take its time.
    noteTurnedOff();
}

Task<> LockSettingsView::turnOff(std::shared_ptr<LockSettingsView> self) {
    try {
        co_await self->store_.turnOff();
    } catch (const std::exception& failure) {
        self->message_ = localizedDescription(failure);
    }
    self->noteTurnedOff();
}

void LockSettingsView::noteTurnedOff() {
    if (state_.hasPasscode && !store_.shape()) {
        state_.hasPasscode = false;
        state_.digits = 0;
        state_.autoLock = false;
        stored([this] { preferences_.setAutomatic(false); });
    }
    announce();
}

void LockSettingsView::pickLength(int length) {
    if (state_.hasPasscode && length != state_.digits)
        leaveToChange(length);
}

void LockSettingsView::setAutoLock(bool on) {
    if (canSwitchAutoLock() && on != state_.autoLock && stored([&] { preferences_.setAutomatic(on); }))
        state_.autoLock = on;
    announce();
}

void LockSettingsView::editMinutes(std::int64_t minutes) {
    if (!canEditMinutes() || minutes == state_.minutes)
        return;
    state_.minutes = minutes;
    stored([&] { preferences_.setDelay(std::chrono::minutes(minutes)); });
    announce();
}

void LockSettingsView::stepMinutes(int step) {
    const auto clamped = [](std::int64_t minutes) {
        return std::clamp(minutes, std::int64_t(LockPreferences::shortestDelay.count()),
                          std::int64_t(LockPreferences::longestDelay.count()));
    };
    editMinutes(clamped(clamped(state_.minutes) + step));
}

void LockSettingsView::toggleRecording() {
    if (!canRecord())
        return;
    state_.recording = !state_.recording;
    announce();
}

bool LockSettingsView::press(const KeyPress& key) {
    if (!state_.recording)
        return false;
    if (key.isEscape) {
        state_.recording = false;
        announce();
        return true;
    }
    const auto equivalent = shortcutKey(key.text);
    if (!(key.modifiers & sufficient) || equivalent.empty())
        return true;
    setShortcut([&] { lockShortcut_.set(equivalent, key.modifiers & (sufficient | KeyModifier::shift)); });
    return true;
}

void LockSettingsView::clearShortcut() {
    if (canClear())
        setShortcut([this] { lockShortcut_.set("", 0); });
}

void LockSettingsView::useDefaultShortcut() {
    if (canRecord())
        setShortcut([this] { lockShortcut_.reset(); });
}

void LockSettingsView::done() {
    if (std::exchange(left_, true))
        return;
    // The callback may release the view.
    const auto self = shared_from_this();
    if (const auto call = callbacks_.onDone)
        call();
}

void LockSettingsView::disappeared() {
    if (std::exchange(state_.recording, false))
        announce();
}

bool LockSettingsView::stored(const std::function<void()>& write) {
    message_.reset();
    try {
        write();
    } catch (const std::exception& failure) {
        message_ = localizedDescription(failure);
    }
    return !message_;
}

void LockSettingsView::setShortcut(const std::function<void()>& write) {
    state_.recording = false;
    if (stored(write) && applyLockShortcut_)
        applyLockShortcut_();
    state_.shortcut = lockShortcut_.display();
    announce();
}

void LockSettingsView::leaveToChange(int length) {
    if (std::exchange(left_, true))
        return;
    const auto self = shared_from_this();
    if (const auto call = callbacks_.onChangePasscode)
        call(length);
}

void LockSettingsView::announce() {
    if (changed)
        changed();
}
