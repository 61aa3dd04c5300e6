#pragma once

#include "platform/Error.h"
#include "platform/Task.h"

#include <memory>
#include <optional>

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

/// Begins an operation, goes on at once, and tells how it ends.
template <class T>
std::shared_ptr<Outcome<T>> begin(Task<T> task) {
    const auto settle = [](Task<T> begun, std::shared_ptr<Outcome<T>> outcome) -> Task<> {
        try {
            outcome->value.emplace(co_await std::move(begun));
        } catch (...) {
            outcome->failure = std::current_exception();
        }
    };
    auto outcome = std::make_shared<Outcome<T>>();
    spawn(settle(std::move(task), outcome));
    return outcome;
}

inline std::shared_ptr<Outcome<Done>> begin(Task<> task) {
    const auto ending = [](Task<> begun) -> Task<Done> {
        co_await std::move(begun);
        co_return Done();
    };
    return begin(ending(std::move(task)));
}
