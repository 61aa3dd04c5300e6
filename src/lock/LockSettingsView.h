#pragma once

#include "lock/LockPreferences.h"
#include "lock/LockShortcut.h"
#include "lock/Passcode.h"
#include "platform/KeyEquivalent.h"
#include "platform/UserDefaults.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// The "Lock & Passcode" panel as a state machine: it sets the passcode's length, turns the passcode off,
/// switches the automatic lock and records the shortcut that locks at once. A screen draws `state()` and
/// forwards what the person does; `changed` tells it to look again.
///
/// The state is read when the panel is made and kept in step by what is done on it. What cannot be stored
/// stays as it was, and `message()` says why. The panel never takes itself away: its owner does so in one of
/// the callbacks, of which one is called, once.
class LockSettingsView : public std::enable_shared_from_this<LockSettingsView> {
public:
    struct Callbacks {
        /// Close the panel and run the passcode screen for a passcode of so many digits.
        std::function<void(int length)> onChangePasscode;
        std::function<void()> onDone; ///< close the panel
    };

    struct State {
        bool hasPasscode = false;
        int digits = 0; ///< of the stored passcode; 0 without one
        bool autoLock = false;
        std::int64_t minutes = 0; ///< what the field shows, which may be out of range while it is typed
        std::string shortcut;     ///< as a person reads it, "⌃⌘L" for one
        bool recording = false;   ///< keys are taken as the new shortcut
    };

    /// A key that has been pressed.
    struct KeyPress {
        std::string text; ///< what it types without modifiers, UTF-8; empty for a key that types nothing
        KeyModifiers modifiers = 0;
        bool isEscape = false;
    };

    /// The lengths that a passcode can have.
    static constexpr std::array lengths = {4, 6, 8};

    /// `canSetPasscode` says whether a username is known whose password a passcode could seal.
    /// `applyLockShortcut` is called after each change of the shortcut: the menu looks at it again. The
    /// stores have to outlive the view.
    static std::shared_ptr<LockSettingsView> make(bool canSetPasscode, Callbacks callbacks, Passcode& store,
                                                  UserDefaults& defaults,
                                                  std::function<void()> applyLockShortcut);

    const State& state() const { return state_; }
    /// Told after every change of the state.
    std::function<void()> changed;

    std::string title() const { return "Lock & Passcode"; }
    std::string explanation() const;

    std::string passcodeTitle() const { return "Passcode"; }
    std::string passcodeStatus() const;
    std::string lengthLabel(int length) const { return std::to_string(length) + " digits"; }
    bool canChooseLength() const { return state_.hasPasscode; }
    /// None where a passcode is set, or can be.
    std::optional<std::string> sealingHint() const;
    std::string changeLabel() const { return state_.hasPasscode ? "Change…" : "Set a passcode…"; }
    bool canChange() const { return state_.hasPasscode || canSetPasscode_; }
    std::string turnOffLabel() const { return "Turn off"; }
    /// The button is there only then.
    bool canTurnOff() const { return state_.hasPasscode; }

    std::string autoLockLabel() const { return "Lock when left alone"; }
    bool canSwitchAutoLock() const { return state_.hasPasscode; }
    std::string minutesLabel() const { return "After"; }
    std::string minutesUnit() const;
    bool canEditMinutes() const { return state_.hasPasscode && state_.autoLock; }
    /// None where there is a passcode.
    std::optional<std::string> autoLockHint() const;

    std::string shortcutTitle() const { return "Lock now"; }
    std::string recordLabel() const { return state_.recording ? "Press the keys…" : state_.shortcut; }
    /// Of the whole section, and of its buttons but "Clear".
    bool canRecord() const { return state_.hasPasscode; }
    std::string clearLabel() const { return "Clear"; }
    bool canClear() const;
    std::string defaultLabel() const { return "Default"; }
    /// For the names that the keys have on the person's keyboard; none without a shortcut.
    std::optional<KeyEquivalent> shortcutKeys() const { return lockShortcut_.keyEquivalent(); }
    std::string shortcutHint() const;

    std::string doneLabel() const { return "Done"; }
    /// What could not be stored, and why; none when all is well.
    const std::optional<std::string>& message() const { return message_; }

    /// The one button that sets or changes the passcode.
    void change();
    void turnOff();
    void pickLength(int length);
    void setAutoLock(bool on);
    /// The number in the field is now this one. It is shown as it was typed, and stored within the range.
    void editMinutes(std::int64_t minutes);
    /// One press of the stepper, up or down: to the next number within the range.
    void stepMinutes(int step);
    /// The record button: starts recording, or stops it.
    void toggleRecording();
    /// A key has been pressed, anywhere in the program. True while recording: nobody else gets the key then.
    bool press(const KeyPress& key);
    void clearShortcut();
    void useDefaultShortcut();
    void done();
    /// The panel leaves the screen.
    void disappeared();

private:
    LockSettingsView(bool canSetPasscode, Callbacks callbacks, Passcode& store, UserDefaults& defaults,
                     std::function<void()> applyLockShortcut);

    static Task<> turnOff(std::shared_ptr<LockSettingsView> self);
    void noteTurnedOff();
    bool stored(const std::function<void()>& write);
    void setShortcut(const std::function<void()>& write);
    void leaveToChange(int length);
    void announce();

    bool canSetPasscode_;
    Callbacks callbacks_;
    Passcode& store_;
    LockPreferences preferences_;
    LockShortcut lockShortcut_;
    std::function<void()> applyLockShortcut_;
    State state_;
    std::optional<std::string> message_;
    bool left_ = false;
};
