#pragma once

#include <coroutine>
#include <exception>
#include <optional>
#include <type_traits>
#include <utility>

/// An asynchronous operation: a coroutine that starts when it is awaited and hands its result, or its
/// exception, to the one that awaits it.
///
/// A task is awaited once. Everything happens on the thread that resumes it, which is the main thread
/// throughout this program. Destroying a task that has not been started, or that waits, destroys what it
/// holds and runs nothing further.
///
/// Parameters are taken by value.
template <class T>
class Task;

namespace detail {

struct TaskPromiseBase {
    std::coroutine_handle<> continuation = std::noop_coroutine();
    std::exception_ptr failure;

    struct FinalAwaiter {
        bool await_ready() const noexcept { return false; }
        template <class Promise>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> finished) const noexcept {
            return finished.promise().continuation;
        }
        void await_resume() const noexcept {}
    };

    std::suspend_always initial_suspend() const noexcept { return {}; }
    FinalAwaiter final_suspend() const noexcept { return {}; }
    void unhandled_exception() noexcept { failure = std::current_exception(); }
};

template <class T>
struct TaskPromise : TaskPromiseBase {
    std::optional<T> value;

    Task<T> get_return_object();
    template <class U>
    void return_value(U&& result) {
        value.emplace(std::forward<U>(result));
    }
    T result() {
        if (failure)
            std::rethrow_exception(failure);
        return std::move(*value);
    }
};

template <>
struct TaskPromise<void> : TaskPromiseBase {
    Task<void> get_return_object();
    void return_void() const noexcept {}
    void result() const {
        if (failure)
            std::rethrow_exception(failure);
    }
};

} // namespace detail

template <class T = void>
class [[nodiscard]] Task {
public:
    using promise_type = detail::TaskPromise<T>;
    using Handle = std::coroutine_handle<promise_type>;

    explicit Task(Handle handle) : handle_(handle) {}
    Task(Task&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Task& operator=(Task&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~Task() {
        if (handle_)
            handle_.destroy();
    }

    bool await_ready() const noexcept { return false; }
    std::coroutine_handle<> await_suspend(std::coroutine_handle<> continuation) noexcept {
        handle_.promise().continuation = continuation;
        return handle_;
    }
    T await_resume() { return handle_.promise().result(); }

private:
    Handle handle_;
};

namespace detail {

template <class T>
Task<T> TaskPromise<T>::get_return_object() {
    return Task<T>(std::coroutine_handle<TaskPromise>::from_promise(*this));
}

inline Task<void> TaskPromise<void>::get_return_object() {
    return Task<void>(std::coroutine_handle<TaskPromise>::from_promise(*this));
}

struct Detached {
    struct promise_type {
        Detached get_return_object() const noexcept { return {}; }
        std::suspend_never initial_suspend() const noexcept { return {}; }
        std::suspend_never final_suspend() const noexcept { return {}; }
        void return_void() const noexcept {}
        /// Nobody is left to hear of it: a detached task handles its own failures.
        void unhandled_exception() const noexcept { std::terminate(); }
    };
};

inline Detached runDetached(Task<void> task) {
    co_await std::move(task);
}

} // namespace detail

/// Starts a task that nobody awaits. It runs until its first suspension before this returns, and frees itself
/// at its end. It must not throw: an exception that leaves it ends the program.
inline void spawn(Task<void> task) {
    detail::runDetached(std::move(task));
}

/// The bridge from a callback to a coroutine: `resolve` or `fail` once, from the main thread, before or after
/// it is awaited. Later calls are ignored, so a late answer to a cancelled operation is harmless.
template <class T>
class Completion {
public:
    Completion() = default;
    Completion(const Completion&) = delete;
    Completion& operator=(const Completion&) = delete;

    void resolve(T value) {
        if (settled())
            return;
        value_.emplace(std::move(value));
        wake();
    }
    void fail(std::exception_ptr failure) {
        if (settled())
            return;
        failure_ = std::move(failure);
        wake();
    }
    bool settled() const { return value_.has_value() || failure_; }

    /// The completion outlives the wait.
    auto operator co_await() { return Awaiter(*this); }

private:
    class Awaiter {
    public:
        explicit Awaiter(Completion& completion) : completion_(&completion) {}

        bool await_ready() const noexcept { return completion_->settled(); }
        void await_suspend(std::coroutine_handle<> waiting) noexcept { completion_->waiting_ = waiting; }
        T await_resume() {
            if (completion_->failure_)
                std::rethrow_exception(completion_->failure_);
            return std::move(*completion_->value_);
        }

    private:
        Completion* completion_;
    };

    void wake() {
        if (waiting_)
            std::exchange(waiting_, nullptr).resume();
    }

    std::optional<T> value_;
    std::exception_ptr failure_;
    std::coroutine_handle<> waiting_;
};

/// The value of an operation that only ends.
struct Done {};
