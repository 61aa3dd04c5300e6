#pragma once

#include "platform/Json.h"

#include <map>
#include <string>

/// The person's preferences: typed values under keys that begin with "brisko.", read afresh on each use and
/// durable once a call has returned.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    /// The value as it is stored; null when there is none. A reader asks for the type that it needs.
    virtual Json value(const std::string& key) const = 0;
    /// False while the values cannot be read: that there is none says nothing then.
    virtual bool available() const = 0;
    /// Throws Error when it cannot be stored; the previous value then stands.
    virtual void set(const std::string& key, Json value) = 0;
    /// Throws Error when it cannot be removed. Nothing happens when there is none.
    virtual void remove(const std::string& key) = 0;
    /// Changes several values as one: whatever happens meanwhile, either all of them have changed or none
    /// has. A null value removes its key. Throws Error when they cannot be stored; the previous values then
    /// stand.
    virtual void update(const std::map<std::string, Json>& changes) = 0;
};
