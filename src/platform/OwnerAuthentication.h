#pragma once

#include "platform/Task.h"

#include <string>

/// The desktop's own question whether the person at the machine is the owner of the account that runs the
/// program: by finger or by password.
class OwnerAuthentication {
public:
    enum class Kind { none, password, finger };

    virtual ~OwnerAuthentication() = default;

    /// How the owner can be asked now; `none` when nobody can answer.
    virtual Task<Kind> kind() = 0;
    /// Asks, saying why (a phrase such as "unlock brisko"). True only when the owner has proved to be the
    /// owner; false when they did not, gave up, or cannot be asked. Always answers, at the latest when the
    /// program ends.
    virtual Task<bool> authenticate(std::string reason) = 0;
    /// Takes what is being asked off the screen, and answers it with false.
    virtual void withdraw() = 0;
};
