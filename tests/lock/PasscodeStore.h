#pragma once

#include "fakes/FakeLock.h"
#include "fakes/FakePlatform.h"
#include "lock/Passcode.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>

/// What becomes of the store's operations, in a few words: "ann: secret", "wrong, 2 left", "locked for 300000
/// ms", "refused", "broken", "unavailable", "error". The words are there once the operation has ended.
class PasscodeOperations {
public:
    using Words = std::shared_ptr<std::optional<std::string>>;

    PasscodeOperations(Passcode& passcode, const Clock& clock) : passcode_(passcode), clock_(clock) {}

    Words set(std::string code, std::string username, std::string password) {
        return start(setting(&passcode_, std::move(code), std::move(username), std::move(password)));
    }
    Words unlock(std::string code) { return start(unlocking(&passcode_, std::move(code))); }
    Words clear() { return start(ending(passcode_.clear(), "cleared")); }
    Words reconcile() { return start(ending(passcode_.reconcile(), "reconciled")); }
    /// What a person reads of the latest failure.
    const std::string& message() const { return *message_; }

private:
    static Task<std::string> setting(Passcode* passcode, std::string code, std::string username,
                                     std::string password) {
        co_await passcode->set(SecretText(std::move(code)), std::move(username),
                               SecretText(std::move(password)));
        co_return "set";
    }
    static Task<std::string> unlocking(Passcode* passcode, std::string code) {
        const auto account = co_await passcode->unlock(SecretText(std::move(code)));
        co_return account.username + ": " + std::string(account.password.view());
    }
    static Task<std::string> ending(Task<> task, std::string words) {
        co_await std::move(task);
        co_return words;
    }

    struct Describe {
        Clock::time_point now;

        std::string operator()(const Passcode::Failure::Wrong& wrong) const {
            return "wrong, " + std::to_string(wrong.remaining) + " left";
        }
        std::string operator()(const Passcode::Failure::Locked& locked) const {
            const auto left = std::chrono::round<std::chrono::milliseconds>(locked.until - now);
            return "locked for " + std::to_string(left.count()) + " ms";
        }
        std::string operator()(const Passcode::Failure::KeychainRefused&) const { return "refused"; }
        std::string operator()(const Passcode::Failure::Broken&) const { return "broken"; }
        std::string operator()(const Passcode::Failure::Unavailable&) const { return "unavailable"; }
    };

    static Task<> run(Task<std::string> task, Words words, std::shared_ptr<std::string> message,
                      const Clock* clock) {
        try {
            auto ended = co_await std::move(task);
            words->emplace(std::move(ended));
        } catch (const Passcode::Failure& failure) {
            *message = failure.what();
            words->emplace(std::visit(Describe{clock->now()}, failure.reason()));
        } catch (const Error& failure) {
            *message = failure.what();
            words->emplace("error");
        }
    }
    Words start(Task<std::string> task) {
        auto words = std::make_shared<std::optional<std::string>>();
        spawn(run(std::move(task), words, message_, &clock_));
        return words;
    }

    Passcode& passcode_;
    const Clock& clock_;
    std::shared_ptr<std::string> message_ = std::make_shared<std::string>();
};

/// A passcode store on a platform in memory, where every operation ends at once unless the keyring holds it.
struct PasscodeStore {
    FakeKeychain keychain;
    FakeUserDefaults defaults;
    FakeClock clock;
    Passcode passcode{keychain, defaults, clock};
    PasscodeOperations operations{passcode, clock};

    std::string set(std::string code, std::string username = "ann", std::string password = "secret") {
        return operations.set(std::move(code), std::move(username), std::move(password))->value();
    }
    std::string unlock(std::string code) { return operations.unlock(std::move(code))->value(); }
    std::string clear() { return operations.clear()->value(); }
    std::string reconcile() { return operations.reconcile()->value(); }
    /// What a start of the program does.
    void launch() {
        reconcile();
        if (!passcode.shape())
            clear();
    }

    /// "4 ann"; "none" when there is none.
    std::string shape() const {
        const auto known = passcode.shape();
        return known ? std::to_string(known->digits) + " " + known->username : "none";
    }
    std::string message() const { return operations.message(); }
    Json preference(const std::string& key) const { return defaults.value("brisko." + key); }
    void setPreference(const std::string& key, Json value) {
        defaults.values["brisko." + key] = std::move(value);
    }
};
