#pragma once

#include "platform/Json.h"

#include <string>

/// The person's preferences: typed values under keys that begin with "brisko.", read afresh on each use and durable once
/// a call has returned.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    /// The value as it is stored; null when there is none. A reader asks for the type that it needs.
    virtual Json value(const std::string& key) const = 0;
    /// Throws Error when it cannot be stored; the previous value then stands.
    virtual void set(const std::string& key, Json value) = 0;
    /// Throws Error when it cannot be removed. Nothing happens when there is none.
    virtual void remove(const std::string& key) = 0;
};
