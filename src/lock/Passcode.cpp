#include "lock/Passcode.h"

#include "lock/PasscodeSeal.h"

#include <unicode/ubrk.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

namespace {

using Changes = std::map<std::string, Json>;
using Failure = Passcode::Failure;

constexpr auto digitsKey = "brisko.passcode.digits";
constexpr auto usernameKey = "brisko.passcode.username";
constexpr auto failuresKey = "brisko.passcode.failures";
constexpr auto lockedUntilKey = "brisko.passcode.lockedUntil";
constexpr auto changingKey = "brisko.passcode.changing"; ///< there while a record is being written
constexpr auto autoLockKey = "brisko.lock.auto";

Failure wrong(int remaining) {
    auto text = remaining == 1 ? std::string("Wrong passcode. One more try.")
                               : "Wrong passcode. " + std::to_string(remaining) + " tries left.";
    return Failure(Failure::Wrong{remaining}, std::move(text));
}

Failure locked(Clock::time_point until) {
    return Failure(Failure::Locked{until}, "Too many wrong tries.");
}

Failure broken() {
    return Failure(Failure::Broken{}, "The saved passcode could not be read. Sign in with your password.");
}

Failure refused(const Keychain::Refused& refusal) {
    auto text = std::string(refusal.what());
    if (text.empty())
        text = "error " + std::to_string(refusal.code());
    return Failure(Failure::KeychainRefused{}, "The keychain would not store it: " + text);
}

Failure unavailable(std::string text) {
    return Failure(Failure::Unavailable{}, std::move(text));
}

double secondsOf(Clock::time_point time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

/// The moment, or the last one that the clock can tell.
Clock::time_point timeOf(double seconds) {
    const std::chrono::duration<double> since(seconds);
    if (since >= std::chrono::duration<double>(Clock::time_point::max().time_since_epoch()))
        return Clock::time_point::max();
    return Clock::time_point(std::chrono::duration_cast<Clock::time_point::duration>(since));
}

int intOf(const Json& value) {
    if (!value.is_number_integer() || (value.is_number_unsigned() && value > std::numeric_limits<int>::max()))
        return 0;
    const auto number = value.get<std::int64_t>();
    return number >= 0 && number <= std::numeric_limits<int>::max() ? static_cast<int>(number) : 0;
}

/// The length in characters as a person counts them: grapheme clusters (Unicode Standard Annex 29).
int characterCount(std::string_view text) {
    // Of a passcode of plain digits, ICU makes no copy that nobody wipes.
    const auto isAscii = [](char letter) {
        return static_cast<unsigned char>(letter) < 0x80 && letter != '\r';
    };
    if (std::all_of(text.begin(), text.end(), isAscii))
        return static_cast<int>(text.size());
    auto status = U_ZERO_ERROR;
    UText opened = UTEXT_INITIALIZER;
    const std::unique_ptr<UText, decltype(&utext_close)> content(
        utext_openUTF8(&opened, text.data(), static_cast<std::int64_t>(text.size()), &status), utext_close);
    const std::unique_ptr<UBreakIterator, decltype(&ubrk_close)> characters(
        ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status), ubrk_close);
    ubrk_setUText(characters.get(), content.get(), &status);
    if (U_FAILURE(status))
        throw Error(u_errorName(status));
    int count = 0;
    while (ubrk_next(characters.get()) != UBRK_DONE)
        count += 1;
    return count;
}

// The macro narrows by itself.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
bool isUtf8(std::string_view text) {
    const auto length = static_cast<std::int32_t>(text.size());
    for (std::int32_t index = 0; index < length;) {
        UChar32 point = 0;
        U8_NEXT(text.data(), index, length, point);
        if (point < 0)
            return false;
    }
    return true;
}
#pragma GCC diagnostic pop

PasscodeRecord seal(const Passcode::KeyDerivation& derive, const SecretText& code, std::string username,
                    const SecretText& password) {
    SecretText salt(PasscodeSeal::randomBytes(Passcode::saltBytes));
    const auto key = derive(code, salt);
    auto sealed = PasscodeSeal::seal(key, PasscodeSeal::randomBytes(PasscodeSeal::nonceBytes), password);
    return {characterCount(code.view()), std::move(username), std::move(salt), std::move(sealed)};
}

std::optional<SecretText> open(const PasscodeRecord& record, const SecretText& key) {
    auto password = PasscodeSeal::open(key, record.sealed);
    if (password && !isUtf8(password->view()))
        return std::nullopt;
    return password;
}

Changes shapeOf(const PasscodeRecord& record) {
    Changes changes;
    changes[digitsKey] = record.digits;
    changes[usernameKey] = record.username;
    changes[changingKey] = nullptr;
    return changes;
}

} // namespace

Passcode::Passcode(Keychain& keychain, UserDefaults& defaults, Clock& clock, KeyDerivation derive)
    : keychain_(keychain), defaults_(defaults), clock_(clock), derive_(std::move(derive)) {}

SecretText Passcode::deriveKey(const SecretText& code, const SecretText& salt) {
    return PasscodeSeal::deriveKey(code, salt.view(), iterations);
}

std::optional<Passcode::Shape> Passcode::shape() const {
    const auto digits = intOf(defaults_.value(digitsKey));
    const auto username = defaults_.value(usernameKey);
    if (digits < 1 || !username.is_string())
        return std::nullopt;
    return Shape{username.get<std::string>(), digits};
}

std::optional<Clock::time_point> Passcode::lockedUntil() {
    const auto stored = defaults_.value(lockedUntilKey);
    if (!stored.is_number() || stored.get<double>() <= 0)
        return std::nullopt;
    const auto until = timeOf(stored.get<double>());
    const auto now = clock_.now();
    if (until > now && stored != void_) {
        if (until <= now + lockOut)
            return until;
        cutLockOut(secondsOf(now + lockOut));
        return now + lockOut;
    }
    try {
        defaults_.remove(lockedUntilKey);
    } catch (const Error&) {
        // It is over all the same.
        return std::nullopt;
    }
    return std::nullopt;
}

void Passcode::cutLockOut(double end) {
    try {
        defaults_.set(lockedUntilKey, end);
    } catch (const Error&) {
        // The next look cuts it anew.
        return;
    }
}

Task<> Passcode::set(SecretText code, std::string username, SecretText password) {
    const auto turn = co_await turns_.next();

    const auto record = seal(derive_, code, std::move(username), password);
    auto text = record.text();
    co_await store(std::move(text));

    auto changes = completed(record);
    changes[failuresKey] = 0;
    changes[lockedUntilKey] = nullptr;
    defaults_.update(changes);
}

Task<Passcode::Account> Passcode::unlock(SecretText code) {
    const auto turn = co_await turns_.next();

    if (const auto until = lockedUntil())
        throw locked(*until);
    const auto record = co_await read();
    if (!record) {
        co_await removeAll();
        throw broken();
    }
    const auto failure = countTry(*record);
    auto password = open(*record, derive_(code, record->salt));
    if (!password)
        throw failure;
    noteSuccess(*record);
    Account account{record->username, std::move(*password)};
    co_return account;
}

Task<> Passcode::clear() {
    const auto turn = co_await turns_.next();
    co_await removeAll();
}

Task<> Passcode::turnOff() {
    const auto turn = co_await turns_.next();
    defaults_.update(forgotten());
    co_await removeRecord();
}

Task<> Passcode::reconcile() {
    const auto turn = co_await turns_.next();
    if (defaults_.value(changingKey).is_null())
        co_return;
    try {
        const auto record = co_await read();
        if (record) {
            defaults_.update(completed(*record));
            co_return;
        }
    } catch (const Error&) {
        // The mark stays, so the next start, or the next try, comes back to it.
        co_return;
    }
    co_await removeAll();
}

/// Puts the record in the keyring, after the mark that says so.
Task<> Passcode::store(SecretText record) {
    const auto isMarked = !defaults_.value(changingKey).is_null();
    defaults_.set(changingKey, true);
    try {
        co_await keychain_.write(std::move(record));
    } catch (const Keychain::Refused& refusal) {
        // A mark that an earlier change has left still stands for that one.
        if (!isMarked)
            forgetChange();
        throw refused(refusal);
    } catch (const Keychain::Unavailable& failure) {
        // The mark stays: nobody knows whether a keyring that went away has stored the record.
        throw unavailable(failure.what());
    }
}

void Passcode::forgetChange() {
    try {
        defaults_.remove(changingKey);
    } catch (const Error&) {
        // The mark does no harm: it makes somebody look at a record that is the one of the shape.
        return;
    }
}

/// The record; none when it is missing or unreadable.
Task<std::optional<PasscodeRecord>> Passcode::read() {
    std::optional<SecretText> text;
    try {
        text = co_await keychain_.read();
    } catch (const Keychain::Unavailable& failure) {
        throw unavailable(failure.what());
    }
    auto record = text ? PasscodeRecord::parse(*text) : std::nullopt;
    co_return record;
}

Task<> Passcode::removeAll() {
    auto changes = forgotten();
    try {
        defaults_.update(changes);
    } catch (const Error&) {
        // The record goes all the same: a shape that has lost its record opens nothing, and the next try says
        // so.
        changes.clear();
    }
    co_await removeRecord();
}

/// What is left of a passcode in the preferences.
std::map<std::string, Json> Passcode::forgotten() const {
    Changes changes;
    for (const auto* key : {digitsKey, usernameKey, lockedUntilKey, changingKey})
        changes[key] = nullptr;
    // A count that nobody has ever stored reads as 0, and the first start of all need not write a file for
    // it.
    if (!defaults_.value(failuresKey).is_null())
        changes[failuresKey] = 0;
    return changes;
}

Task<> Passcode::removeRecord() {
    try {
        co_await keychain_.remove();
    } catch (const Error&) {
        // Without a shape, the next start tries again.
        co_return;
    }
}

/// Counts a try before it is made. Returns the failure that it ends with unless the passcode is the right
/// one.
Passcode::Failure Passcode::countTry(const PasscodeRecord& record) {
    auto changes = defaults_.value(changingKey).is_null() ? Changes() : completed(record);
    const auto earlier = std::min(intOf(defaults_.value(failuresKey)), triesBeforeLockOut);
    const auto remaining = triesBeforeLockOut - earlier - 1;
    const auto until = secondsOf(clock_.now() + lockOut);
    if (remaining > 0) {
        changes[failuresKey] = earlier + 1;
    } else {
        // The last try begins with its lock-out, or whoever ends the program right after the try would have
        // another.
        changes[failuresKey] = 0;
        changes[lockedUntilKey] = until;
    }
    try {
        defaults_.update(changes);
    } catch (const Error& failure) {
        throw unavailable(std::string("The passcode was not tried, because the try could not be counted: ") +
                          failure.what());
    }
    return remaining > 0 ? wrong(remaining) : locked(timeOf(until));
}

void Passcode::noteSuccess(const PasscodeRecord& record) {
    auto changes = shape() ? shapeOf(record) : Changes();
    changes[failuresKey] = 0;
    changes[lockedUntilKey] = nullptr;
    try {
        defaults_.update(changes);
    } catch (const Error&) {
        // The passcode was right. The try stays counted, which costs one later.
        void_ = defaults_.value(lockedUntilKey);
    }
}

/// What a `set` of this record leaves in the preferences, but for the count and the lock-out.
std::map<std::string, Json> Passcode::completed(const PasscodeRecord& record) const {
    auto changes = shapeOf(record);
    if (defaults_.value(autoLockKey).is_null())
        changes[autoLockKey] = true;
    return changes;
}
