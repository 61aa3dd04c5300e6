#pragma once

#include "fakes/FakePlatform.h"
#include "platform/DesktopSession.h"
#include "platform/EventMonitor.h"
#include "platform/OwnerAuthentication.h"

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
        const auto question = open_.emplace_back(std::make_shared<Completion<bool>>());
        co_return co_await *question;
    }

    /// Answers the oldest one.
    void answer(bool proved) {
        const auto question = open_.at(0);
        open_.erase(open_.begin());
        question->resolve(proved);
    }

private:
    std::vector<std::shared_ptr<Completion<bool>>> open_;
};

class FakeEventMonitor : public EventMonitor {
public:
    std::shared_ptr<void> observeInput(std::function<void()> used) override { return observer_.set(used); }
    /// Somebody types, clicks, scrolls or moves the pointer.
    void use() const { observer_.tell(); }

private:
    Observer observer_;
};

class FakeDesktopSession : public DesktopSession {
public:
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
