#pragma once

#include "platform/DesktopSession.h"
#include "platform/EventMonitor.h"
#include "platform/OwnerAuthentication.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

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
        const auto question = std::make_shared<Completion<bool>>();
        open_.push_back(question);
        co_return co_await *question;
    }

    /// The questions that are on the screen, all at once.
    std::size_t asking() const { return open_.size(); }
    /// Answers the oldest one.
    void answer(bool proved) {
        if (open_.empty())
            throw std::logic_error("nobody is asked");
        const auto question = open_.front();
        open_.erase(open_.begin());
        question->resolve(proved);
    }

private:
    std::vector<std::shared_ptr<Completion<bool>>> open_;
};

class FakeEventMonitor : public EventMonitor {
public:
    std::shared_ptr<void> observeInput(std::function<void()> used) override {
        auto observer = std::make_shared<std::function<void()>>(std::move(used));
        observers_.push_back(observer);
        return observer;
    }

    /// Somebody types, clicks, scrolls or moves the pointer.
    void use() {
        for (const auto& observer : std::vector(observers_))
            if (const auto tell = observer.lock())
                (*tell)();
    }
    std::size_t observers() const {
        return static_cast<std::size_t>(
            std::count_if(observers_.begin(), observers_.end(), [](const auto& o) { return !o.expired(); }));
    }

private:
    std::vector<std::weak_ptr<std::function<void()>>> observers_;
};

class FakeDesktopSession : public DesktopSession {
public:
    bool locked = false;
    int delayed = 0; ///< how often the machine went to sleep before it was told that it may

    bool isLocked() const override { return locked; }
    void lock() {
        if (onLocked)
            onLocked();
    }
    /// The machine wants to sleep, and waits for `ready`. Returns whether it was called at once.
    bool sleep() {
        delayed += 1;
        const auto before = delayed;
        if (onSleep)
            onSleep([this] { delayed -= 1; });
        return delayed < before;
    }
};
