#pragma once

#include "platform/Error.h"
#include "platform/Task.h"

#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>

/// How an operation that was begun has ended, if it has.
template <class T>
struct Outcome {
    std::optional<T> value;
    std::exception_ptr failure;

    bool ended() const { return value || failure; }
    /// Throws what the operation threw.
    T take() {
        if (failure)
            std::rethrow_exception(failure);
        return std::move(*value);
    }
    /// What a person reads of the failure; "" when there is none.
    std::string message() const {
        try {
            if (failure)
                std::rethrow_exception(failure);
        } catch (const std::exception& thrown) {
            return localizedDescription(thrown);
        }
        return "";
    }
};

template <class T>
Task<> settle(Task<T> task, std::shared_ptr<Outcome<T>> outcome) {
    try {
        auto value = co_await std::move(task);
        outcome->value.emplace(std::move(value));
    } catch (...) {
        outcome->failure = std::current_exception();
    }
}

inline Task<Done> ending(Task<> task) {
    co_await std::move(task);
    co_return Done();
}

/// Begins an operation, goes on at once, and tells how it ends.
template <class T>
std::shared_ptr<Outcome<T>> begin(Task<T> task) {
    auto outcome = std::make_shared<Outcome<T>>();
    spawn(settle(std::move(task), outcome));
    return outcome;
}

inline std::shared_ptr<Outcome<Done>> begin(Task<> task) {
    return begin(ending(std::move(task)));
}
