#pragma once

#include <chrono>

/// The wall clock.
class Clock {
public:
    using time_point = std::chrono::system_clock::time_point;

    virtual ~Clock() = default;

    virtual time_point now() const = 0;
};
