#pragma once

#include "account/BriskoAPI.h"
#include "account/Remembered.h"
#include "platform/SecretText.h"
#include "platform/Task.h"
#include "platform/Workspace.h"

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>

/// The sign-in screen as a state machine: three modes (sign in, create an account, ask for a reset link),
/// their fields, messages and rules. A screen draws `state()` and forwards what the person does; `changed`
/// tells it to look again.
///
/// A submit and a Google sign-in keep the view alive until they end; a load is given up when the view goes.
/// Operations may overlap: loading a challenge and submitting, or two loads, of which each that succeeds
/// replaces the challenge.
class AuthView : public std::enable_shared_from_this<AuthView> {
public:
    enum class Mode { signIn, signUp, forgot };
    enum class Field { identifier, password, email, captcha };

    struct State {
        Mode mode = Mode::signIn;
        std::string identifier; ///< username, or username or email when signing in
        SecretText password;
        std::string email;
        std::string captchaAnswer;
        std::optional<BriskoAPI::Captcha> captcha;
        bool revealPassword = false;
        bool busy = false; ///< a submit or a Google sign-in is running
        std::optional<std::string> error;
        std::optional<std::string> notice;
        std::optional<Field> focused;
    };

    /// Called once per successful sign-in, with the password that was typed, or without one after a Google
    /// sign-in.
    using OnSignedIn = std::function<void(std::optional<SecretText> password)>;

    static std::shared_ptr<AuthView> make(BriskoAPI& api, Remembered& remembered, Workspace& workspace,
                                          OnSignedIn onSignedIn);
    ~AuthView();

    const State& state() const { return state_; }
    /// Told after every change of the state. A screen that goes before the view unsets it.
    std::function<void()> changed;

    /// The fields of a mode, in the order in which they stand on the screen and Tab visits them.
    static std::span<const Field> focusOrder(Mode mode);
    std::string subtitle() const;
    std::string submitLabel() const;
    /// The placeholder of a field in the current mode.
    std::string placeholder(Field field) const;
    /// What a field holds. Of the password it is a view that nobody keeps.
    std::string_view text(Field field) const;
    /// The button in the password box.
    std::string revealLabel() const;
    /// The footer's button: it leads to the reset mode and back.
    std::string footerLabel() const;
    /// Whether the form may be submitted. Nothing is trimmed.
    bool ready() const;
    bool canSubmit() const { return ready() && !state_.busy; }

    /// The screen has appeared.
    void appeared();
    void type(Field field, std::string text);
    /// The keyboard focus moved, to no field when it left the form.
    void focus(std::optional<Field> field);
    /// Tab (+1) or Shift-Tab (-1); false when the key is left to the system.
    bool move(int step);
    void toggleReveal();
    void switchTo(Mode mode);
    void pressFooter();
    void openPrivacy();

    Task<> go();
    Task<> googleSignIn();
    /// Fetches a challenge. A load whose mode is left meanwhile is given up and leaves no trace.
    Task<> loadCaptcha();

private:
    AuthView(BriskoAPI& api, Remembered& remembered, Workspace& workspace, OnSignedIn onSignedIn);

    Task<> submit();
    void startModeTask();
    void announce();

    BriskoAPI& api_;
    Remembered& remembered_;
    Workspace& workspace_;
    OnSignedIn onSignedIn_;
    State state_;
    std::stop_source modeTask_;
};
