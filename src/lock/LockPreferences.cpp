#include "lock/LockPreferences.h"

#include "platform/StoredValue.h"

#include <algorithm>

namespace {

constexpr auto enabledKey = "brisko.lock.enabled";
constexpr auto automaticKey = "brisko.lock.auto";
constexpr auto minutesKey = "brisko.lock.minutes";

} // namespace

bool LockPreferences::enabled() const {
    return StoredValue::boolean(defaults_.value(enabledKey));
}

bool LockPreferences::automatic() const {
    return StoredValue::boolean(defaults_.value(automaticKey));
}

std::chrono::minutes LockPreferences::delay() const {
    const std::chrono::minutes stored(StoredValue::integer(defaults_.value(minutesKey)));
    return stored < shortestDelay ? defaultDelay : std::min(stored, longestDelay);
}

void LockPreferences::setEnabled(bool enabled) {
    defaults_.set(enabledKey, enabled);
}

void LockPreferences::setAutomatic(bool automatic) {
    defaults_.set(automaticKey, automatic);
}

void LockPreferences::setDelay(std::chrono::minutes delay) {
    defaults_.set(minutesKey, std::clamp(delay, shortestDelay, longestDelay).count());
}
