#pragma once

#include "platform/UserDefaults.h"

#include <string>

/// What the sign-in screen knows of the person from last time.
class Remembered {
public:
    explicit Remembered(UserDefaults& defaults) : defaults_(defaults) {}

    /// The last username that signed in; empty when there is none.
    std::string username() const;
    /// Keeps the name without the white space and line breaks around it; a name of nothing else removes the
    /// kept one. A name that cannot be stored is not remembered, which is no reason to stop a sign-in.
    void setUsername(const std::string& name);

private:
    UserDefaults& defaults_;
};
