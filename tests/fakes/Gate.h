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
    int started = 0; ///< operations, since the start

    /// The operation that came last goes on, or fails.
    void release(const std::optional<Error>& failure = {}) {
        const auto gate = waiting_.at(waiting_.size() - 1);
        waiting_.pop_back();
        failure ? gate->fail(std::make_exception_ptr(*failure)) : gate->resolve(Done());
    }
    std::size_t waiting() const { return waiting_.size(); }
    /// Everything goes on, and nothing waits any more. An operation that still waits at the end of a test
    /// would never be freed.
    void open() {
        hold = false;
        while (waiting())
            release();
    }

protected:
    Task<> pass() {
        started += 1;
        if (const auto gate = hold ? waiting_.emplace_back(std::make_shared<Completion<Done>>()) : nullptr)
            co_await *gate;
    }

private:
    std::vector<std::shared_ptr<Completion<Done>>> waiting_;
};
