#pragma once

#include "platform/Error.h"
#include "platform/SecretText.h"
#include "platform/Task.h"

#include <optional>

/// The one item of the passcode store in the person's keyring.
///
/// A keyring that cannot be asked is not an empty one: each operation then throws `Unavailable`. Operations
/// may take as long as the desktop asks the person to open the keyring; they end as unavailable when the port
/// goes first.
class Keychain {
public:
    /// The keyring could not be asked: there is no service, it is locked and stayed so, or it does not
    /// answer.
    class Unavailable : public Error {
    public:
        explicit Unavailable(const std::string& systemText)
            : Error("The keyring could not be opened: " + systemText) {}
    };
    /// The keyring was asked and refused to store the item. `what()` is the system's text, empty when it has
    /// none.
    class Refused : public Error {
    public:
        using Error::Error;
    };

    virtual ~Keychain() = default;

    /// The item's data; none when there is no item.
    virtual Task<std::optional<SecretText>> read() = 0;
    /// Stores the item in place of an earlier one, which stands until the new one is stored. Throws Refused.
    virtual Task<> write(SecretText data) = 0;
    /// Removes the item, without ever asking the person: a locked keyring keeps it, and is unavailable.
    /// Nothing happens when there is none.
    virtual Task<> remove() = 0;
};
