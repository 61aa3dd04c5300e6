#pragma once

#include "fakes/FakeLock.h"
#include "fakes/FakePlatform.h"
#include "lock/Passcode.h"
#include "platform/Outcome.h"
#include "platform/Walk.h"

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
        : passcode(keychain, defaults, clock, std::move(derive)) {}

    FakeKeychain keychain;
    FakeUserDefaults defaults;
    FakeClock clock;
    Passcode passcode;

    std::string set(const char* code, std::string username = "ann", const char* password = "secret") {
        const auto setting = begin(passcode.set(SecretText(code), std::move(username), SecretText(password)));
        return wordsOf(setting, clock);
    }
    std::string unlock(const char* code) { return wordsOf(begin(passcode.unlock(SecretText(code))), clock); }
    std::string clear() { return wordsOf(begin(passcode.clear()), clock); }
    /// What a start of the program does.
    void launch() {
        begin(passcode.reconcile());
        if (!passcode.shape())
            clear();
    }
    /// The steps are "set" (1234 of ann, whose password is "secret"), "other" (888888 of bob, "other"),
    /// "start", "clear", "gone" and "back" of the keyring, and codes to try.
    void expect(const std::string& steps, const std::string& ends) {
        walk(steps, ends, [this](const std::string& step) {
            if (step == "set")
                return set("1234");
            if (step == "other")
                return set("888888", "bob", "other");
            if (step == "clear")
                return clear();
            if (step == "start")
                launch();
            else if (step == "gone" || step == "back")
                keychain.unavailable = step == "gone" ? std::optional("Locked.") : std::nullopt;
            else
                return unlock(step.c_str());
            return shape();
        });
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
