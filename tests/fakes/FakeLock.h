#pragma once

#include "fakes/FakePlatform.h"
#include "lock/PasscodeSeal.h"
#include "platform/Clock.h"
#include "platform/DesktopSession.h"
#include "platform/EventMonitor.h"
#include "platform/Keychain.h"
#include "platform/MainQueue.h"
#include "platform/OwnerAuthentication.h"

/// The program's own derivation with one of its many rounds, which take time and nothing else.
inline SecretText deriveInOneRound(const SecretText& code, const SecretText& salt) {
    return PasscodeSeal::deriveKey(code, salt.view(), 1);
}

/// A clock that goes when the test says so, and on with each look at it if there is a `tick`.
struct FakeClock : Clock {
    mutable time_point time{std::chrono::seconds(1'800'000'000)};
    std::chrono::seconds tick{0};

    time_point now() const override { return std::exchange(time, time + tick); }
};

/// A queue whose time passes when the test says so.
class FakeMainQueue : public MainQueue {
public:
    void after(std::chrono::milliseconds delay, std::function<void()> work) override {
        waiting_.emplace(now_ + delay, std::move(work));
    }
    void advance(std::chrono::milliseconds time) {
        now_ += time;
        while (!waiting_.empty() && waiting_.begin()->first <= now_) {
            const auto work = waiting_.begin()->second;
            waiting_.erase(waiting_.begin());
            work();
        }
    }

private:
    std::chrono::milliseconds now_{0};
    std::multimap<std::chrono::milliseconds, std::function<void()>> waiting_;
};

/// A keyring in memory. It may be held up, as a real one is while the person is asked.
class FakeKeychain : public Keychain, public Gate {
public:
    std::optional<std::string> item;
    std::optional<Refused> refusal;             ///< of what is written
    std::optional<std::string> unavailable;     ///< the system's text of a keyring that cannot be asked
    std::function<void()> aroundChange = [] {}; ///< called before and after each; may end the program there

    Task<std::optional<SecretText>> read() override {
        co_await ask();
        co_return item ? std::optional(SecretText(std::string_view(*item))) : std::nullopt;
    }
    Task<> write(SecretText data) override {
        co_await ask();
        if (refusal)
            throw *refusal;
        change(std::string(data.view()));
    }
    Task<> remove() override {
        co_await ask();
        change(std::nullopt);
    }

private:
    void change(std::optional<std::string> changed) {
        aroundChange();
        item = std::move(changed);
        aroundChange();
    }
    Task<> ask() {
        co_await pass();
        if (unavailable)
            throw Unavailable(*unavailable);
    }
};

/// The desktop's question to the owner, who answers when the test says so; at once when nobody can be asked.
class FakeOwnerAuthentication : public OwnerAuthentication {
public:
    Kind available = Kind::password;
    std::vector<std::string> reasons; ///< of every question since the start

    Task<Kind> kind() override { co_return available; }
    Task<bool> authenticate(std::string reason) override {
        reasons.push_back(std::move(reason));
        if (available == Kind::none)
            co_return false;
        const auto question = question_ = std::make_shared<Completion<bool>>();
        co_return co_await *question;
    }

    void withdraw() override {
        if (question_)
            answer(false);
    }

    /// Answers the latest one: there is but one at a time.
    void answer(bool proved) { std::shared_ptr(question_)->resolve(proved); }

private:
    std::shared_ptr<Completion<bool>> question_;
};

struct FakeEventMonitor : EventMonitor, Observer {
    std::shared_ptr<void> observeInput(std::function<void()> used) override { return set(used); }
    /// Somebody types, clicks, scrolls or moves the pointer.
    void use() const { tell(); }
};

struct FakeDesktopSession : DesktopSession {
    bool locked = false;
    int delayed = 0; ///< how often the machine went to sleep before it was told that it may

    bool isLocked() const override { return locked; }
    void lock() const { onLocked(); }
    /// The machine wants to sleep, and waits for `ready`. Returns whether it was called at once.
    bool sleep() {
        const auto before = delayed++;
        onSleep([this] { delayed -= 1; });
        return delayed == before;
    }
};
