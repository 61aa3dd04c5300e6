#pragma once

#include "Scenario.h"
#include "fakes/FakeLock.h"
#include "fakes/FakePlatform.h"
#include "lock/Passcode.h"
#include "platform/Outcome.h"

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
    } catch (const Error& failure) {
        const auto* known = dynamic_cast<const Failure*>(&failure);
        if (const auto* wrong = known ? std::get_if<Failure::Wrong>(&known->reason()) : nullptr)
            return std::to_string(wrong->remaining) + " left";
        const auto* locked = known ? std::get_if<Failure::Locked>(&known->reason()) : nullptr;
        const std::chrono::duration<double, std::milli> left =
            (locked ? locked->until : clock.now()) - clock.now();
        return locked ? "locked for " + std::to_string(std::lround(left.count())) + " ms" : failure.what();
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
    Scenario story{[this] { return sight(); }, deeds()};

    std::string set(const char* code, std::string username = "ann", const char* password = "secret") {
        const auto setting = begin(passcode.set(SecretText(code), std::move(username), SecretText(password)));
        return wordsOf(setting, clock);
    }
    std::string unlock(const char* code) { return wordsOf(begin(passcode.unlock(SecretText(code))), clock); }
    /// What a start of the program does.
    void launch() {
        begin(passcode.reconcile());
        if (!passcode.shape())
            begin(passcode.clear());
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

private:
    Scenario::Sight sight() const {
        const auto record = keychain.item
                                ? PasscodeRecord::parse(SecretText(std::string_view(*keychain.item)))
                                : std::nullopt;
        Scenario::Sight seen = {
            {"record", record ? std::to_string(record->digits) + " " + record->username : ""}};
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
                {"keyring",
                 [this](Text is) {
                     keychain.unavailable = is == "gone" ? std::optional("Locked.") : std::nullopt;
                     keychain.refusal =
                         is == "full" ? std::optional<Keychain::Refused>("Full.") : std::nullopt;
                 }},
                {"disk", [this](Text is) { defaults.broken = is == "full"; }},
                {"pass", [this](Text ms) { clock.time += std::chrono::milliseconds(std::stol(ms)); }}};
    }
};
