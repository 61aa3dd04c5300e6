#pragma once

#include "lock/PasscodeRecord.h"
#include "platform/Clock.h"
#include "platform/Error.h"
#include "platform/Keychain.h"
#include "platform/SecretText.h"
#include "platform/Task.h"
#include "platform/Turns.h"
#include "platform/UserDefaults.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <variant>

/// The passcode store: a short passcode for this machine that seals the account password in the keyring.
/// Opening the seal with the passcode gives the username and the password back. It never talks to the
/// service.
///
/// Three wrong tries in a row lock it for five minutes. The count, and with the third try the lock-out, are
/// on disk before a passcode is tried, so ending the program at any moment gives no try back; at worst, a try
/// that would have succeeded counts as a wrong one.
///
/// The lock-out is measured on the wall clock. A clock set back lengthens it, at most by as much as it was
/// set back. A clock set forward ends it early: whoever may set the clock of this machine has it in their
/// hands anyway, and the wrong tries still cost a key derivation each.
///
/// The record is in the keyring, what is known of it without asking (the shape) is in the preferences. No two
/// of them change at one instant, so a mark in the preferences says that a record is being written: it is on
/// disk before the record is touched and goes in the same change that stores the shape. Where the program, or
/// the keyring, ended in between, `reconcile` at the next start, or the next try, takes the shape from the
/// record that stands. A shape goes before its record: a record without a shape is removed by the `clear` of
/// a start that finds no shape.
///
/// The operations run one after another, in the order in which they are started; the key derivation (some 30
/// ms) runs on the caller's thread. The store has to outlive its operations.
class Passcode {
public:
    /// What is known of the stored passcode without asking the keyring.
    struct Shape {
        std::string username;
        int digits = 0; ///< length of the passcode in characters

        bool operator==(const Shape&) const = default;
    };

    class Failure : public Error {
    public:
        struct Wrong {
            int remaining; ///< tries left before the lock-out
        };
        struct Locked {
            Clock::time_point until;
        };
        struct KeychainRefused {}; ///< nothing has changed, the earlier record included
        struct Broken {};          ///< the record is missing or unreadable; the store has been cleared
        /// The keyring could not be asked, or a try not be counted on disk: no try was made, nothing is
        /// cleared.
        struct Unavailable {};
        using Reason = std::variant<Wrong, Locked, KeychainRefused, Broken, Unavailable>;

        Failure(Reason reason, std::string description) : Error(std::move(description)), reason_(reason) {}

        const Reason& reason() const { return reason_; }

    private:
        Reason reason_;
    };

    struct Account {
        std::string username;
        SecretText password;
    };

    /// RFC 8018 key derivation with the parameters of the stored record; changing one makes every record
    /// unreadable.
    static constexpr unsigned iterations = 210000;
    static constexpr std::size_t saltBytes = 16;
    static constexpr int triesBeforeLockOut = 3;
    static constexpr std::chrono::seconds lockOut{300};

    using KeyDerivation = std::function<SecretText(const SecretText& code, const SecretText& salt)>;
    /// The derivation of every stored record, with the parameters above.
    static SecretText deriveKey(const SecretText& code, const SecretText& salt);

    /// Only tests, which would spend most of their time on it, give another derivation.
    Passcode(Keychain& keychain, UserDefaults& defaults, Clock& clock, KeyDerivation derive = deriveKey);

    std::optional<Shape> shape() const;
    /// Whether a missing shape means that there is no passcode; false while the preferences cannot be read.
    bool shapeIsKnown() const { return defaults_.available(); }
    /// The end of the lock-out; none when there is none. Drops one that has passed, and cuts one that is
    /// further away than it lasts: the clock was wrong.
    std::optional<Clock::time_point> lockedUntil();

    /// Seals the password under the code and keeps it in place of an earlier one; the first passcode ever
    /// turns the idle lock on. Throws Failure: KeychainRefused, with the earlier record and the shape as they
    /// were; Unavailable, in which case a keyring that went away in the middle may have stored the record or
    /// not. Throws Error when the preferences cannot be written: nothing has changed, unless that came after
    /// the record was stored.
    Task<> set(SecretText code, std::string username, SecretText password);
    /// Opens the seal. Throws Failure, of every reason but KeychainRefused.
    Task<Account> unlock(SecretText code);
    /// Removes the record and what is known of it, without asking the person for anything. Never fails: a
    /// record that cannot be removed now is without a shape, and goes at the next start.
    Task<> clear();
    /// As `clear`, for somebody who wants to hear of it. Throws Error with nothing changed when the
    /// preferences cannot be written.
    Task<> turnOff();
    /// Brings shape and record together again where a `set` was cut short; the count and the lock-out stay as
    /// they are. To be called at every start, before anything else, and before a screen that asks for the
    /// passcode: without such a `set` it is one look at the preferences. Never fails: when the keyring cannot
    /// be asked, it stays for the next time.
    Task<> reconcile();

private:
    Task<> store(SecretText record);
    void forgetChange();
    Task<std::optional<PasscodeRecord>> read();
    Task<> removeAll();
    Task<> removeRecord();
    void cutLockOut(double end);
    std::map<std::string, Json> forgotten() const;
    Failure countTry(const PasscodeRecord& record);
    void noteSuccess(const PasscodeRecord& record);
    std::map<std::string, Json> completed(const PasscodeRecord& record) const;

    Keychain& keychain_;
    UserDefaults& defaults_;
    Clock& clock_;
    KeyDerivation derive_;
    Turns turns_;
    Json void_; ///< a lock-out that has ended with the right passcode, but not on disk
};
