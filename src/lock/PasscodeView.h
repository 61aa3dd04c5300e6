#pragma once

#include "account/BriskoAPI.h"
#include "lock/Passcode.h"
#include "platform/Clock.h"
#include "platform/MainQueue.h"
#include "platform/SecretText.h"
#include "platform/Task.h"

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

/// The screen on which the passcode is entered or chosen, as a state machine. It serves four purposes:
/// unlocking after the session ended, unlocking a locked window, choosing a passcode, and changing it. A
/// screen draws `state()` and forwards edits, buttons, the one-second tick and activations; `changed` tells
/// it to look again.
///
/// The screen never takes itself away: its owner does so in one of the callbacks, of which one is called,
/// once. What an operation still brings after that has no effect on anybody.
class PasscodeView : public std::enable_shared_from_this<PasscodeView> {
public:
    struct Unlock {
        Passcode::Shape shape;
        std::optional<std::string> host =
            {}; ///< that gets the password, where that does not go without saying
    };
    struct Relock {
        Passcode::Shape shape;
    };
    struct Setup {
        std::string username;
        std::optional<SecretText> password; ///< asked for once when it is not known
    };
    struct Change {
        Passcode::Shape shape;
        int length = 0; ///< digits of the new passcode
    };
    using Mode = std::variant<Unlock, Relock, Setup, Change>;

    enum class Step { code, password, choose, confirm };

    struct Callbacks {
        std::function<void()> onUnlocked; ///< the window may be unlocked
        std::function<void()> onPassword; ///< sign in with the password instead
        std::function<void()> onDone;     ///< setup or change has ended
    };

    struct State {
        Step step = Step::code;
        SecretText code;     ///< the digits typed so far
        SecretText first;    ///< the chosen passcode while it awaits confirmation
        SecretText password; ///< the account's: typed, given or unsealed
        std::string owner;   ///< the account that the new passcode will belong to
        int digits = 4;      ///< length of the passcode being chosen
        bool busy = false;
        std::optional<std::string> error;
        bool wrong = false; ///< toggled by every failed try: the screen shakes on each change
        std::optional<Clock::time_point> lockedUntil;
        Clock::time_point now;
        bool focused = false; ///< keyboard focus on the code field or the password field
    };

    /// One button under the form.
    struct Button {
        std::string label;
        std::function<void()> press;
        bool shown = true;
    };

    /// The lengths that can be chosen.
    static constexpr std::array lengths = {4, 6, 8};

    static std::shared_ptr<PasscodeView> make(Mode mode, Callbacks callbacks, Passcode& store, BriskoAPI& api,
                                              Clock& clock, MainQueue& queue);

    const Mode& mode() const { return mode_; }
    const State& state() const { return state_; }
    /// Told after every change of the state.
    std::function<void()> changed;

    /// How many digits the code field takes now.
    int expected() const;
    std::size_t typed() const;
    std::string title() const;
    /// The countdown of a lock-out, which takes the message's place; none when there is no lock-out.
    std::optional<std::string> waiting() const;
    /// What the message line shows.
    std::optional<std::string> message() const;
    std::string lengthLabel(int length) const { return std::to_string(length) + " digits"; }
    /// The mode's buttons, always the same ones; some are not shown all the time.
    std::vector<Button> buttons();
    /// The note under the buttons; none in most modes.
    std::optional<std::string> note() const;

    /// The screen has appeared.
    void appeared();
    /// A window of the program has become the one with the keyboard.
    void windowBecameKey() { takeFocus(); }
    /// One second has passed.
    void tick();
    void clickDots() { takeFocus(); }
    /// The keyboard focus moved to the field, or away from it.
    void focus(bool focused);
    /// The person edited the code field, whose text is now this one. Ignored while an action runs: what is on
    /// its way is not submitted twice.
    void edit(SecretText text);
    void typePassword(SecretText text);
    void chooseLength(int length);
    /// Escape: ends setup and change; false in the modes that cannot be left that way.
    bool cancel();

    /// Return in the password field.
    Task<> checkPassword();

private:
    PasscodeView(Mode mode, Callbacks callbacks, Passcode& store, BriskoAPI& api, Clock& clock,
                 MainQueue& queue);

    Task<> advance();
    Task<> signIn();
    Task<> prove();
    Task<> openWithOldCode();
    Task<> confirmCode();
    Task<> signOutInstead();
    Task<> clearThen(std::function<void()> callback);

    const Passcode::Shape* shape() const;
    void beginAction();
    void endAction();
    /// What a refused try does to the screen. True when the store had to give the record up.
    bool showFailure(const Passcode::Failure& failure);
    void showUncounted(const Error& failure);
    void takeFocus();
    void leave(const std::function<void()>& callback);
    void announce();

    Mode mode_;
    Callbacks callbacks_;
    Passcode& store_;
    BriskoAPI& api_;
    Clock& clock_;
    MainQueue& queue_;
    State state_;
    bool left_ = false;
};
