#include "lock/PasscodeView.h"

#include "lock/PasscodeText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr std::chrono::milliseconds secondFocus(50);

template <class... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

} // namespace

std::shared_ptr<PasscodeView> PasscodeView::make(Mode mode, Callbacks callbacks, Passcode& store,
                                                 BriskoAPI& api, Clock& clock, MainQueue& queue) {
    // The constructor is private, so that every view is owned the way its operations rely on.
    return std::shared_ptr<PasscodeView>(
        new PasscodeView(std::move(mode), std::move(callbacks), store, api, clock, queue));
}

PasscodeView::PasscodeView(Mode mode, Callbacks callbacks, Passcode& store, BriskoAPI& api, Clock& clock,
                           MainQueue& queue)
    : mode_(std::move(mode)),
      callbacks_(std::move(callbacks)),
      store_(store),
      api_(api),
      clock_(clock),
      queue_(queue) {
    state_.now = clock_.now();
}

const Passcode::Shape* PasscodeView::shape() const {
    return std::visit(Overloaded{[](const Setup&) -> const Passcode::Shape* { return nullptr; },
                                 [](const auto& other) { return &other.shape; }},
                      mode_);
}

int PasscodeView::expected() const {
    const auto* stored = shape();
    return stored && state_.step == Step::code ? stored->digits : state_.digits;
}

std::size_t PasscodeView::typed() const {
    return PasscodeText::characters(state_.code.view());
}

std::string PasscodeView::title() const {
    switch (state_.step) {
    case Step::code:
        return std::visit(
            Overloaded{[](const Unlock& unlock) {
                           const auto where = unlock.host ? " at " + *unlock.host : std::string();
                           return "Enter your passcode to sign in as " + unlock.shape.username + where + ".";
                       },
                       [](const Relock&) { return std::string("Locked. Enter your passcode to carry on."); },
                       [](const Change&) { return std::string("Enter your current passcode."); },
                       [](const Setup&) { return std::string("Enter your passcode."); }},
            mode_);
    case Step::password:
        return "Your password once, so the passcode has something to unlock.";
    case Step::choose:
        return std::holds_alternative<Change>(mode_) ? "Choose the new passcode."
                                                     : "Choose a passcode for this Mac.";
    case Step::confirm:
        return "Enter it again.";
    }
    return {};
}

std::optional<std::string> PasscodeView::waiting() const {
    if (!state_.lockedUntil)
        return std::nullopt;
    const std::chrono::duration<double> left = *state_.lockedUntil - state_.now;
    const auto seconds = std::max(0L, std::lround(std::ceil(left.count())));
    constexpr long minute = 60;
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), "Too many wrong tries. Try again in %ld:%02ld.", seconds / minute,
                  seconds % minute);
    return std::string(text.data());
}

std::optional<std::string> PasscodeView::message() const {
    auto countdown = waiting();
    return countdown ? countdown : state_.error;
}

std::vector<PasscodeView::Button> PasscodeView::buttons() {
    const auto weak = weak_from_this();
    // A button outlives the view only on a screen that is going away.
    const auto guarded = [weak](void (*action)(PasscodeView&)) {
        return [weak, action] {
            if (const auto self = weak.lock())
                action(*self);
        };
    };
    const auto done = guarded([](PasscodeView& view) { view.leave(view.callbacks_.onDone); });
    const auto turnOff = guarded([](PasscodeView& view) { spawn(view.clearThen(view.callbacks_.onDone)); });
    const auto signOut = guarded([](PasscodeView& view) { spawn(view.signOutInstead()); });
    const auto usePassword =
        guarded([](PasscodeView& view) { spawn(view.clearThen(view.callbacks_.onPassword)); });
    std::vector<Button> result;
    if (std::holds_alternative<Setup>(mode_)) {
        result.push_back(Button{"Not now", done});
        result.push_back(Button{"Turn the passcode off", turnOff, store_.shape().has_value()});
    } else if (std::holds_alternative<Change>(mode_)) {
        result.push_back(Button{"Cancel", done});
    } else if (std::holds_alternative<Relock>(mode_)) {
        result.push_back(Button{"Sign out instead", signOut});
    } else {
        result.push_back(Button{"Use your password instead", usePassword});
    }
    return result;
}

std::optional<std::string> PasscodeView::note() const {
    if (!std::holds_alternative<Setup>(mode_))
        return std::nullopt;
    return "A passcode keeps somebody at your Mac out of your tasks. It is not a second password — your "
           "account still "
           "needs the real one.";
}

void PasscodeView::appeared() {
    if (const auto* change = std::get_if<Change>(&mode_))
        state_.digits = change->length;
    if (auto* setup = std::get_if<Setup>(&mode_)) {
        state_.owner = setup->username;
        state_.step = setup->password ? Step::choose : Step::password;
        state_.password = setup->password ? setup->password->copy() : SecretText();
    }
    state_.lockedUntil = store_.lockedUntil();
    takeFocus();
    announce();
}

void PasscodeView::tick() {
    state_.now = clock_.now();
    if (state_.lockedUntil && *state_.lockedUntil <= state_.now) {
        state_.lockedUntil.reset();
        state_.error.reset();
        takeFocus();
    }
    announce();
}

void PasscodeView::focus(bool focused) {
    if (state_.focused == focused)
        return;
    state_.focused = focused;
    announce();
}

void PasscodeView::takeFocus() {
    if (state_.lockedUntil)
        return;
    state_.focused = true;
    // Once more a moment later: a window that is just becoming the active one may still move the focus.
    queue_.after(secondFocus, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self || self->left_ || self->state_.lockedUntil)
            return;
        self->state_.focused = true;
        self->announce();
    });
    announce();
}

void PasscodeView::edit(SecretText text) {
    if (state_.busy || state_.lockedUntil || left_) {
        // The field shows something else now; let it look again.
        announce();
        return;
    }
    state_.code = SecretText(PasscodeText::numbers(text.view(), static_cast<std::size_t>(expected())));
    state_.error.reset();
    announce();
    if (typed() == static_cast<std::size_t>(expected()))
        spawn(advance());
}

void PasscodeView::typePassword(SecretText text) {
    if (state_.busy)
        return;
    state_.password = std::move(text);
    announce();
}

void PasscodeView::chooseLength(int length) {
    if (state_.busy)
        return;
    state_.digits = length;
    state_.code.clear();
    state_.focused = true;
    announce();
}

bool PasscodeView::cancel() {
    if (!std::holds_alternative<Setup>(mode_) && !std::holds_alternative<Change>(mode_))
        return false;
    leave(callbacks_.onDone);
    return true;
}

Task<> PasscodeView::advance() {
    const auto self = shared_from_this();
    if (state_.step == Step::choose) {
        state_.first = std::move(state_.code);
        state_.step = Step::confirm;
        announce();
    } else if (state_.step == Step::confirm) {
        co_await confirmCode();
    } else if (state_.step == Step::code) {
        if (std::holds_alternative<Unlock>(mode_)) {
            co_await signIn();
        } else if (std::holds_alternative<Relock>(mode_)) {
            co_await prove();
        } else if (std::holds_alternative<Change>(mode_)) {
            co_await openWithOldCode();
        }
    }
}

Task<> PasscodeView::confirmCode() {
    if (!(state_.code == state_.first)) {
        state_.error = "Those did not match. Start again.";
        state_.code.clear();
        state_.first.clear();
        state_.step = Step::choose;
        announce();
        co_return;
    }
    beginAction();
    try {
        const auto* setup = std::get_if<Setup>(&mode_);
        const auto username = setup ? setup->username : state_.owner;
        co_await store_.set(state_.code.copy(), username, state_.password.copy());
        leave(callbacks_.onDone);
    } catch (const Passcode::Failure& failure) {
        if (std::holds_alternative<Passcode::Failure::Unavailable>(failure.reason()))
            showUncounted(failure);
        else
            state_.error = failure.what();
    } catch (const std::exception& failure) {
        state_.error = localizedDescription(failure);
    }
    endAction();
}

Task<> PasscodeView::signIn() {
    beginAction();
    std::optional<std::string> refusal;
    try {
        auto account = co_await store_.unlock(state_.code.copy());
        try {
            co_await api_.signIn(account.username, account.password.copy());
            co_await api_.handOverSession();
            leave(callbacks_.onUnlocked);
        } catch (const std::exception& failure) {
            refusal = localizedDescription(failure);
        }
    } catch (const Passcode::Failure& failure) {
        if (showFailure(failure))
            leave(callbacks_.onPassword);
    } catch (const Error& failure) {
        showUncounted(failure);
    }
    if (refusal) {
        // The seal holds a password that does not sign in any more, or nobody can tell: it goes.
        state_.error = *refusal + " Sign in with your password.";
        state_.code.clear();
        announce();
        co_await store_.clear();
    }
    endAction();
}

Task<> PasscodeView::prove() {
    beginAction();
    try {
        co_await store_.unlock(state_.code.copy());
        leave(callbacks_.onUnlocked);
    } catch (const Passcode::Failure& failure) {
        if (showFailure(failure))
            takeFocus();
    } catch (const Error& failure) {
        showUncounted(failure);
    }
    endAction();
}

Task<> PasscodeView::openWithOldCode() {
    beginAction();
    try {
        auto account = co_await store_.unlock(state_.code.copy());
        state_.owner = std::move(account.username);
        state_.password = std::move(account.password);
        state_.code.clear();
        state_.step = Step::choose;
        takeFocus();
    } catch (const Passcode::Failure& failure) {
        if (showFailure(failure))
            takeFocus();
    } catch (const Error& failure) {
        showUncounted(failure);
    }
    endAction();
}

Task<> PasscodeView::checkPassword() {
    const auto* setup = std::get_if<Setup>(&mode_);
    if (!setup || state_.step != Step::password || state_.password.empty() || state_.busy)
        co_return;
    const auto self = shared_from_this();
    beginAction();
    if (setup->username.empty()) {
        state_.error = "Sign in with a username and password first.";
    } else {
        try {
            co_await api_.signIn(setup->username, state_.password.copy());
            state_.step = Step::choose;
            state_.focused = true;
        } catch (const std::exception& failure) {
            state_.error = localizedDescription(failure);
        }
    }
    endAction();
}

Task<> PasscodeView::signOutInstead() {
    const auto self = shared_from_this();
    co_await store_.clear();
    co_await api_.signOut();
    leave(callbacks_.onPassword);
}

Task<> PasscodeView::clearThen(std::function<void()> callback) {
    const auto self = shared_from_this();
    co_await store_.clear();
    leave(callback);
}

void PasscodeView::beginAction() {
    state_.busy = true;
    state_.error.reset();
    announce();
}

void PasscodeView::endAction() {
    state_.busy = false;
    announce();
}

bool PasscodeView::showFailure(const Passcode::Failure& failure) {
    using Failure = Passcode::Failure;
    if (std::holds_alternative<Failure::Unavailable>(failure.reason())) {
        showUncounted(failure);
        return false;
    }
    state_.error = failure.what();
    state_.code.clear();
    state_.wrong = !state_.wrong;
    if (const auto* locked = std::get_if<Failure::Locked>(&failure.reason())) {
        state_.lockedUntil = locked->until;
        state_.now = clock_.now();
        state_.focused = false;
    }
    const auto broken = std::holds_alternative<Failure::Broken>(failure.reason());
    if (!broken && !state_.lockedUntil)
        takeFocus();
    announce();
    return broken;
}

void PasscodeView::showUncounted(const Error& failure) {
    state_.error = failure.what();
    state_.code.clear();
    takeFocus();
}

void PasscodeView::leave(const std::function<void()>& callback) {
    if (left_)
        return;
    left_ = true;
    // The callback may release the view, and its own state with it.
    const auto self = shared_from_this();
    const auto call = callback;
    if (call)
        call();
}

void PasscodeView::announce() {
    if (changed)
        changed();
}
