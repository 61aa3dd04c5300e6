#pragma once

#include "platform/UserDefaults.h"

#include <chrono>

/// The person's choices about the two locks, read afresh on each use:
///
/// | key                  | type    | absent |
/// |----------------------|---------|--------|
/// | "brisko.lock.enabled" | boolean | false  |
/// | "brisko.lock.auto"    | boolean | false  |
/// | "brisko.lock.minutes" | integer | 5      |
///
/// A value of another type counts as what `StoredValue` makes of it.
class LockPreferences {
public:
    static constexpr std::chrono::minutes shortestDelay{1};
    static constexpr std::chrono::minutes longestDelay{240};
    static constexpr std::chrono::minutes defaultDelay{5};

    /// The defaults have to outlive it.
    explicit LockPreferences(UserDefaults& defaults) : defaults_(defaults) {}

    /// Whether the owner has to authenticate with the system at each activation.
    bool enabled() const;
    /// Whether the window locks when it is left alone.
    bool automatic() const;
    /// How long the window is left alone before it locks, from the shortest to the longest delay. A stored
    /// number above that counts as the longest; one that is not positive as the default.
    std::chrono::minutes delay() const;

    /// Each throws Error when it cannot be stored; the previous value then stands.
    void setEnabled(bool enabled);
    void setAutomatic(bool automatic);
    /// Stores the nearest delay that there is.
    void setDelay(std::chrono::minutes delay);

private:
    UserDefaults& defaults_;
};
