#pragma once

#include "platform/Clock.h"

#include <chrono>
#include <vector>

/// How often a page whose process dies is loaded again by itself: three times within a minute, so that a page
/// that kills its process does not do so for ever.
class ReloadLimit {
public:
    /// Whether it may be loaded again at `now`; counts it if so.
    bool admit(Clock::time_point now) {
        // A reload that seems to lie ahead was before the clock was set back.
        std::erase_if(reloads_, [now](auto time) { return now - time >= span || time > now; });
        if (reloads_.size() >= most)
            return false;
        reloads_.push_back(now);
        return true;
    }

private:
    static constexpr std::chrono::minutes span{1};
    static constexpr std::size_t most = 3;

    std::vector<Clock::time_point> reloads_;
};
