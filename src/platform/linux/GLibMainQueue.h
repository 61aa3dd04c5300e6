#pragma once

#include "platform/MainQueue.h"

/// The default main context's queue.
class GLibMainQueue : public MainQueue {
public:
    void after(std::chrono::milliseconds delay, std::function<void()> work) override;
};
