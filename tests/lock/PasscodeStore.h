#pragma once

#include "Scenario.h"
#include "fakes/FakeLock.h"
#include "lock/Passcode.h"
#include "platform/Outcome.h"

/// A passcode store on a platform in memory, where every operation ends at once unless the keyring holds it.
struct PasscodeStore {
    explicit PasscodeStore(Passcode::KeyDerivation derive = deriveInOneRound)
        : passcode(keychain, defaults, clock, std::move(derive)) {}

    FakeKeychain keychain;
    FakeUserDefaults defaults;
    FakeClock clock;
    Passcode passcode;
    Scenario story{[this] { return sight(); }, deeds()};

    /// "done", or what a person reads of the failure.
    std::string set(const char* code, std::string username = "ann", const char* password = "secret") {
        const auto setting = begin(passcode.set(SecretText(code), std::move(username), SecretText(password)));
        return setting->value ? "done" : setting->message();
    }
    /// "ann: secret", "2 left", or what a person reads of another failure.
    std::string unlock(const char* code) {
        try {
            const auto account = begin(passcode.unlock(SecretText(code)))->take();
            return account.username + ": " + std::string(account.password.view());
        } catch (const Passcode::Failure& failure) {
            const auto* wrong = std::get_if<Passcode::Failure::Wrong>(&failure.reason());
            return wrong ? std::to_string(wrong->remaining) + " left" : failure.what();
        }
    }
    /// What a start of the program does.
    void launch() {
        begin(passcode.reconcile())->take();
        if (!passcode.shape())
            begin(passcode.clear())->take();
    }
    /// "4 ann"; "none" when there is none.
    std::string shape() const {
        const auto known = passcode.shape();
        return known ? std::to_string(known->digits) + " " + known->username : "none";
    }
    Json record() const { return parseJson(*keychain.item); }
    Json preference(const std::string& key) const { return defaults.value("brisko." + key); }

private:
    Scenario::Sight sight() const {
        const auto stored = keychain.item ? record() : Json();
        Scenario::Sight seen = {{"record", stored.contains("digits")
                                               ? stored["digits"].dump() + " " + stored["username"].dump()
                                               : ""}};
        for (const std::string key : {"passcode.digits", "passcode.username", "passcode.failures",
                                      "passcode.lockedUntil", "passcode.changing", "lock.auto"})
            seen.emplace_back(key.substr(key.find('.') + 1),
                              preference(key).is_null() ? "" : preference(key).dump());
        return seen;
    }
    Scenario::Deeds deeds() {
        using Text = const std::string&;
        const auto say = [this](Text text) { story.said += (story.said.empty() ? "" : ", ") + text; };
        return {{"set", [=, this](Text) { say(set("1234")); }}, // of ann, whose password is "secret"
                {"other", [=, this](Text) { say(set("888888", "bob", "other")); }},
                {"try", [=, this](Text code) { say(unlock(code.c_str())); }},
                {"clear", [this](Text) { begin(passcode.clear()); }},
                {"start", [this](Text) { launch(); }},
                {"disk", [this](Text is) { defaults.broken = is == "full"; }},
                {"pass", [this](Text ms) { clock.time += std::chrono::milliseconds(std::stol(ms)); }},
                {"keyring", [this](Text is) {
                     keychain.unavailable.reset(), keychain.refusal.reset();
                     if (is == "gone")
                         keychain.unavailable = "Locked.";
                     else if (is == "full")
                         keychain.refusal = Keychain::Refused("Full.");
                 }}};
    }
};
