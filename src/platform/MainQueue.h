#pragma once

#include <chrono>
#include <functional>

/// The main thread's queue of things to do.
class MainQueue {
public:
    virtual ~MainQueue() = default;

    /// Runs `work` once the delay has passed, never before this returns. It is dropped when the program ends
    /// first.
    virtual void after(std::chrono::milliseconds delay, std::function<void()> work) = 0;
};
