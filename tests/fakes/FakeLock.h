#pragma once

#include "platform/Clock.h"
#include "platform/Keychain.h"
#include "platform/MainQueue.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

/// A clock that goes when the test says so.
class FakeClock : public Clock {
public:
    time_point time{std::chrono::seconds(1'800'000'000)};

    time_point now() const override { return time; }
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

/// A keyring in memory. With `hold` set, an operation waits for `release`, as it does while the person is
/// asked.
class FakeKeychain : public Keychain {
public:
    std::optional<std::string> item;
    std::optional<Refused> refusal;         ///< of what is written
    std::optional<std::string> unavailable; ///< the system's text of a keyring that cannot be asked
    bool hold = false;
    int started = 0;

    Task<std::optional<SecretText>> read() override {
        auto passing = pass();
        co_await std::move(passing);
        std::optional<SecretText> data;
        if (item)
            data.emplace(std::string_view(*item));
        co_return data;
    }
    Task<> write(SecretText data) override {
        auto passing = pass();
        co_await std::move(passing);
        if (refusal)
            throw *refusal;
        item = data.view();
    }
    Task<> remove() override {
        auto passing = pass();
        co_await std::move(passing);
        item.reset();
    }

    void release() {
        const auto gate = std::exchange(gate_, nullptr);
        if (!gate)
            throw std::logic_error("no operation is waiting");
        gate->resolve(Done());
    }
    bool waiting() const { return gate_ != nullptr; }

private:
    Task<> pass() {
        started += 1;
        if (hold) {
            const auto gate = std::make_shared<Completion<Done>>();
            gate_ = gate;
            co_await gate->settlement();
        }
        if (unavailable)
            throw Unavailable(*unavailable);
    }

    std::shared_ptr<Completion<Done>> gate_;
};
