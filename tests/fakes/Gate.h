#pragma once

#include "platform/Error.h"
#include "platform/Task.h"

#include <memory>
#include <vector>

/// A fake whose operations take as long as a test wants: with `hold` set, each waits for its `release`, so
/// that the test can look between.
class Gate {
public:
    bool hold = false;

    /// The operation that came last goes on.
    void release() { takeLast()->resolve(Done()); }
    /// It fails.
    void release(const Error& failure) { takeLast()->fail(std::make_exception_ptr(failure)); }
    std::size_t waiting() const { return waiting_.size(); }
    /// Everything goes on, and nothing waits any more. An operation that still waits at the end of a test
    /// would never be freed.
    void open() {
        hold = false;
        while (waiting())
            release();
    }

protected:
    Gate() = default;
    ~Gate() = default;

    Task<> pass() {
        if (!hold)
            co_return;
        const auto gate = std::make_shared<Completion<Done>>();
        waiting_.push_back(gate);
        co_await *gate;
    }

private:
    std::shared_ptr<Completion<Done>> takeLast() {
        auto gate = waiting_.at(waiting_.size() - 1);
        waiting_.pop_back();
        return gate;
    }

    std::vector<std::shared_ptr<Completion<Done>>> waiting_;
};
