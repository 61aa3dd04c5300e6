#pragma once

#include "fakes/FakeLock.h"
#include "fakes/FakePlatform.h"
#include "lock/Passcode.h"
#include "platform/Outcome.h"

#include <chrono>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>

/// How an operation of the store has ended, in a few words: "done", "ann: secret", "2 left", "locked for
/// 300000 ms", or what a person reads of another failure.
template <class T>
std::string wordsOf(const std::shared_ptr<Outcome<T>>& outcome, const Clock& clock) {
    using Failure = Passcode::Failure;
    try {
        const auto result = outcome->take();
        if constexpr (std::is_same_v<T, Passcode::Account>)
            return result.username + ": " + std::string(result.password.view());
        return "done";
    } catch (const Failure& failure) {
        if (const auto* wrong = std::get_if<Failure::Wrong>(&failure.reason()))
            return std::to_string(wrong->remaining) + " left";
        if (const auto* locked = std::get_if<Failure::Locked>(&failure.reason())) {
            const auto left = std::chrono::round<std::chrono::milliseconds>(locked->until - clock.now());
            return "locked for " + std::to_string(left.count()) + " ms";
        }
        return failure.what();
    } catch (const Error& failure) {
        return failure.what();
    }
}

/// A passcode store on a platform in memory, where every operation ends at once unless the keyring holds it.
struct PasscodeStore {
    explicit PasscodeStore(Passcode::KeyDerivation derive = deriveInOneRound)
        : passcode(keychain, defaults, clock, derive) {}

    FakeKeychain keychain;
    FakeUserDefaults defaults;
    FakeClock clock;
    Passcode passcode;

    std::string set(const std::string& code, std::string username = "ann",
                    const std::string& password = "secret") {
        return wordsOf(begin(passcode.set(SecretText(std::string_view(code)), std::move(username),
                                          SecretText(std::string_view(password)))),
                       clock);
    }
    std::string unlock(const std::string& code) {
        return wordsOf(begin(passcode.unlock(SecretText(std::string_view(code)))), clock);
    }
    /// What becomes of one try after another: "2 left, ann: secret".
    std::string tries(std::initializer_list<const char*> codes) {
        std::string words;
        for (const auto* code : codes)
            words += (words.empty() ? "" : ", ") + unlock(code);
        return words;
    }
    std::string clear() { return wordsOf(begin(passcode.clear()), clock); }
    /// What a start of the program does.
    void launch() {
        begin(passcode.reconcile());
        if (!passcode.shape())
            clear();
    }

    /// "4 ann"; "none" when there is none.
    std::string shape() const {
        const auto known = passcode.shape();
        return known ? std::to_string(known->digits) + " " + known->username : "none";
    }
    Json record() const { return parseJson(*keychain.item); }
    Json preference(const std::string& key) const { return defaults.value("brisko." + key); }
    void setPreference(const std::string& key, Json value) {
        defaults.values["brisko." + key] = std::move(value);
    }
};
