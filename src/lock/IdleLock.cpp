#include "lock/IdleLock.h"

#include <algorithm>

bool IdleLock::isArmed(const State& state) {
    return state.switchedOn && state.pageShown && !state.alreadyLocked && state.shape;
}

bool IdleLock::isDue(const State& state, Clock::time_point lastUse, Clock::time_point now) {
    return isArmed(state) && now - lastUse >= state.delay;
}

Clock::time_point IdleLock::believableUse(Clock::time_point lastUse, Clock::time_point now) {
    return std::min(lastUse, now);
}
