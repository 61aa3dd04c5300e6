#include "account/AuthView.h"

#include <algorithm>

namespace {

/// What a failed load of the challenge says to the person; none for one that was given up.
std::optional<std::string> captchaMessage(const std::exception& failure, const std::stop_token& stop) {
    if (stop.stop_requested())
        return std::nullopt;
    if (const auto* refused = dynamic_cast<const BriskoAPI::Failure*>(&failure))
        return refused->message();
    const auto* transport = dynamic_cast<const TransportError*>(&failure);
    if (transport && transport->reason() == TransportError::Reason::cancelled)
        return std::nullopt;
    return "Could not load the verification image. Check your connection and try again.";
}

/// What a failed Google sign-in says; none when the person gave up.
std::optional<std::string> googleMessage(const std::exception& failure) {
    const auto* coded = dynamic_cast<const Error*>(&failure);
    if (coded && !dynamic_cast<const BriskoAPI::Failure*>(coded) &&
        coded->code() == WebAuthenticationError::cancelledLogin)
        return std::nullopt;
    return localizedDescription(failure);
}

} // namespace

std::shared_ptr<AuthView> AuthView::make(BriskoAPI& api, Remembered& remembered, Workspace& workspace,
                                         OnSignedIn onSignedIn) {
    // The constructor is private, so that every view is owned the way its operations rely on.
    return std::shared_ptr<AuthView>(new AuthView(api, remembered, workspace, std::move(onSignedIn)));
}

AuthView::AuthView(BriskoAPI& api, Remembered& remembered, Workspace& workspace, OnSignedIn onSignedIn)
    : api_(api), remembered_(remembered), workspace_(workspace), onSignedIn_(std::move(onSignedIn)) {
    state_.identifier = remembered_.username();
}

AuthView::~AuthView() {
    modeTask_.request_stop();
}

std::span<const AuthView::Field> AuthView::focusOrder(Mode mode) {
    static constexpr std::array signIn = {Field::identifier, Field::password};
    static constexpr std::array signUp = {Field::identifier, Field::email, Field::password, Field::captcha};
    static constexpr std::array forgot = {Field::email};
    switch (mode) {
    case Mode::signIn:
        return signIn;
    case Mode::signUp:
        return signUp;
    case Mode::forgot:
        return forgot;
    }
    return {};
}

std::string AuthView::subtitle() const {
    switch (state_.mode) {
    case Mode::signIn:
        return "Sign in to your tasks.";
    case Mode::signUp:
        return "Create an account.";
    case Mode::forgot:
        return "We will email you a reset link.";
    }
    return {};
}

std::string AuthView::submitLabel() const {
    switch (state_.mode) {
    case Mode::signIn:
        return "Sign in";
    case Mode::signUp:
        return "Create account";
    case Mode::forgot:
        return "Send reset link";
    }
    return {};
}

std::string AuthView::placeholder(Field field) const {
    switch (field) {
    case Field::identifier:
        return state_.mode == Mode::signUp ? "Username" : "Username or email";
    case Field::password:
        return "Password";
    case Field::email:
        return "Email";
    case Field::captcha:
        return "Type the characters";
    }
    return {};
}

std::string_view AuthView::text(Field field) const {
    switch (field) {
    case Field::password:
        return state_.password.view();
    case Field::email:
        return state_.email;
    case Field::captcha:
        return state_.captchaAnswer;
    case Field::identifier:
        break;
    }
    return state_.identifier;
}

std::string AuthView::revealLabel() const {
    return state_.revealPassword ? "Hide password" : "Show password";
}

std::string AuthView::footerLabel() const {
    return state_.mode == Mode::forgot ? "Back to sign in" : "Forgot password?";
}

bool AuthView::ready() const {
    switch (state_.mode) {
    case Mode::signIn:
        return !state_.identifier.empty() && !state_.password.empty();
    case Mode::signUp:
        return !state_.identifier.empty() && !state_.password.empty() && !state_.captchaAnswer.empty();
    case Mode::forgot:
        return state_.email.find('@') != std::string::npos;
    }
    return false;
}

void AuthView::appeared() {
    state_.focused = state_.identifier.empty() ? Field::identifier : Field::password;
    startModeTask();
    announce();
}

void AuthView::type(Field field, std::string text) {
    if (text == this->text(field))
        return;
    switch (field) {
    case Field::identifier:
        state_.identifier = std::move(text);
        break;
    case Field::password:
        state_.password = SecretText(std::move(text));
        break;
    case Field::email:
        state_.email = std::move(text);
        break;
    case Field::captcha:
        state_.captchaAnswer = std::move(text);
        break;
    }
    announce();
}

void AuthView::focus(std::optional<Field> field) {
    if (state_.focused == field)
        return;
    state_.focused = field;
    announce();
}

bool AuthView::move(int step) {
    const auto order = focusOrder(state_.mode);
    if (!state_.focused || order.size() < 2)
        return false;
    const auto found = std::find(order.begin(), order.end(), *state_.focused);
    if (found == order.end())
        return false;
    const auto count = static_cast<int>(order.size());
    const auto next = (static_cast<int>(found - order.begin()) + step + count) % count;
    state_.focused = order[static_cast<std::size_t>(next)];
    announce();
    return true;
}

void AuthView::toggleReveal() {
    state_.revealPassword = !state_.revealPassword;
    announce();
}

void AuthView::switchTo(Mode mode) {
    state_.mode = mode;
    state_.error.reset();
    state_.notice.reset();
    state_.captchaAnswer.clear();
    state_.identifier = mode == Mode::signUp ? std::string() : remembered_.username();
    state_.focused = mode == Mode::forgot ? Field::email : Field::identifier;
    state_.captcha.reset();
    startModeTask();
    announce();
}

void AuthView::pressFooter() {
    switchTo(state_.mode == Mode::forgot ? Mode::signIn : Mode::forgot);
}

void AuthView::openPrivacy() {
    workspace_.open(api_.origin().appendingPath("privacy"));
}

Task<> AuthView::go() {
    if (!canSubmit())
        co_return;
    const auto self = shared_from_this();
    state_.busy = true;
    state_.error.reset();
    state_.notice.reset();
    announce();
    bool failed = false;
    try {
        co_await submit();
    } catch (const std::exception& failure) {
        state_.error = localizedDescription(failure);
        failed = true;
        announce();
    }
    if (failed && state_.mode == Mode::signUp) {
        co_await loadCaptcha();
    }
    state_.busy = false;
    announce();
}

Task<> AuthView::submit() {
    // What was typed when the person submitted is what counts, whatever they type while it is on its way.
    const auto mode = state_.mode;
    const auto identifier = state_.identifier;
    auto password = state_.password.copy();
    if (mode == Mode::forgot) {
        state_.notice = co_await api_.requestReset(state_.email);
        co_return;
    }
    if (mode == Mode::signIn) {
        co_await api_.signIn(identifier, password.copy());
    } else {
        if (!state_.captcha)
            throw BriskoAPI::Failure("Reload the verification image.");
        co_await api_.registerAccount(identifier, password.copy(), state_.email, state_.captcha->token,
                                      state_.captchaAnswer);
    }
    remembered_.setUsername(identifier);
    co_await api_.handOverSession();
    onSignedIn_(std::move(password));
}

Task<> AuthView::googleSignIn() {
    const auto self = shared_from_this();
    state_.busy = true;
    state_.error.reset();
    announce();
    try {
        co_await api_.signInWithGoogle();
        co_await api_.handOverSession();
        onSignedIn_(std::nullopt);
    } catch (const std::exception& failure) {
        if (auto message = googleMessage(failure))
            state_.error = std::move(message);
    }
    state_.busy = false;
    announce();
}

Task<> AuthView::loadCaptcha() {
    const auto weak = weak_from_this();
    const auto stop = modeTask_.get_token();
    std::optional<BriskoAPI::Captcha> challenge;
    std::optional<std::string> message;
    try {
        challenge = co_await api_.captcha(stop);
    } catch (const std::exception& failure) {
        message = captchaMessage(failure, stop);
        if (!message)
            co_return;
    }
    // The reply of a load that was given up may already be here; it belongs to a form, or a view, that is
    // gone.
    const auto self = weak.lock();
    if (!self || stop.stop_requested())
        co_return;
    self->state_.captcha = std::move(challenge);
    if (message)
        self->state_.error = std::move(message);
    self->announce();
}

void AuthView::startModeTask() {
    modeTask_.request_stop();
    modeTask_ = std::stop_source();
    if (state_.mode == Mode::signUp && !state_.captcha)
        spawn(loadCaptcha());
}

void AuthView::announce() {
    if (changed)
        changed();
}
