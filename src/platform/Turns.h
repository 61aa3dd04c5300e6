#pragma once

#include "platform/Task.h"

#include <memory>
#include <utility>

/// Lets the asynchronous operations of one object run one after another, in the order in which they asked:
///
///     const auto turn = co_await turns_.next();
class Turns {
public:
    /// Held for the length of an operation; the next one goes on when it ends.
    class Turn {
    public:
        explicit Turn(std::shared_ptr<Completion<Done>> ended) : ended_(std::move(ended)) {}
        Turn(Turn&&) = default;
        Turn& operator=(Turn&&) = delete;
        ~Turn() {
            if (ended_)
                ended_->resolve(Done());
        }

    private:
        std::shared_ptr<Completion<Done>> ended_;
    };

    Task<Turn> next() {
        const auto ended = std::make_shared<Completion<Done>>();
        const auto previous = std::exchange(last_, ended);
        if (previous)
            co_await *previous;
        co_return Turn(ended);
    }

private:
    std::shared_ptr<Completion<Done>> last_;
};
