#pragma once

#include <functional>
#include <utility>

/// Calls its function once: when it is told to, at the latest when the last one who could do so has gone. So
/// whoever waits for the end of something hears of it, whatever road it takes.
class Ending {
public:
    explicit Ending(std::function<void()> function) : function_(std::move(function)) {}
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;
    ~Ending() { end(); }

    void end() {
        if (const auto function = std::exchange(function_, nullptr))
            function();
    }

private:
    std::function<void()> function_;
};
