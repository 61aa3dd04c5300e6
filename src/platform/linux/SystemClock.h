#pragma once

#include "platform/Clock.h"

/// The wall clock of the machine.
class SystemClock : public Clock {
public:
    time_point now() const override { return std::chrono::system_clock::now(); }
};
