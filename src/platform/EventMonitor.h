#pragma once

#include <functional>
#include <memory>

/// Input that reaches the program, in any of its windows: keys, pointer, scrolling, touch, pen.
class EventMonitor {
public:
    virtual ~EventMonitor() = default;

    /// Calls `used` at every input, before it takes effect and without taking it away, for as long as the
    /// result is held.
    virtual std::shared_ptr<void> observeInput(std::function<void()> used) = 0;
};
