#include "lock/PasscodeStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace {

/// The program ends here.
struct Death {};

/// Ends the program right before or right after one of the changes that it makes.
class Fate {
public:
    explicit Fate(int steps) : steps_(steps) {}

    template <class Change>
    void around(Change change) {
        step();
        change();
        step();
    }

private:
    void step() {
        if (steps_-- == 0)
            throw Death();
    }

    int steps_;
};

class MortalDefaults : public UserDefaults {
public:
    MortalDefaults(UserDefaults& disk, Fate& fate) : disk_(disk), fate_(fate) {}

    Json value(const std::string& key) const override { return disk_.value(key); }
    bool available() const override { return disk_.available(); }
    void set(const std::string& key, Json value) override {
        fate_.around([&] { disk_.set(key, std::move(value)); });
    }
    void remove(const std::string& key) override {
        fate_.around([&] { disk_.remove(key); });
    }
    void update(const std::map<std::string, Json>& changes) override {
        fate_.around([&] { disk_.update(changes); });
    }

private:
    UserDefaults& disk_;
    Fate& fate_;
};

class MortalKeychain : public Keychain {
public:
    MortalKeychain(std::optional<std::string>& item, Fate& fate) : item_(item), fate_(fate) {}

    Task<std::optional<SecretText>> read() override {
        std::optional<SecretText> data;
        if (item_)
            data.emplace(std::string_view(*item_));
        co_return data;
    }
    Task<> write(SecretText data) override {
        fate_.around([&] { item_ = data.view(); });
        co_return;
    }
    Task<> remove() override {
        fate_.around([&] { item_.reset(); });
        co_return;
    }

private:
    std::optional<std::string>& item_;
    Fate& fate_;
};

Task<> survive(Task<> operation, bool* died) {
    try {
        co_await std::move(operation);
    } catch (const Death&) {
        *died = true;
    } catch (const Passcode::Failure&) {
        co_return;
    }
}

Task<> unlocking(Passcode* passcode, std::string code) {
    co_await passcode->unlock(SecretText(std::move(code)));
}

Task<> setting(Passcode* passcode) {
    return passcode->set(SecretText(std::string("888888")), "bob", SecretText(std::string("other")));
}

struct Scenario {
    const char* name;
    std::function<void(PasscodeStore&)> before;
    std::function<Task<>(Passcode&)> operation;
    /// What may stand afterwards: the passcode and its words, or nothing.
    std::vector<std::string> shapes;
    int leastFailures; ///< after the first change; a lock-out counts as three
};

void prepare(PasscodeStore& store, int wrongTries) {
    store.set("1234");
    for (int count = 0; count < wrongTries; ++count)
        store.unlock("0000");
}

int usedTries(PasscodeStore& store) {
    const auto failures = store.preference("passcode.failures");
    if (store.passcode.lockedUntil())
        return Passcode::triesBeforeLockOut;
    return failures.is_null() ? 0 : failures.get<int>();
}

/// Shape and record differ only where the next start looks at them again.
void expectNoticed(const PasscodeStore& store) {
    if (store.shape() == "none" || !store.preference("passcode.changing").is_null())
        return;
    ASSERT_TRUE(store.keychain.item);
    const auto record = parseJson(*store.keychain.item);
    EXPECT_EQ(store.shape(),
              std::to_string(record["digits"].get<int>()) + " " + record["username"].get<std::string>());
}

void expectSound(PasscodeStore& store, const Scenario& scenario) {
    expectNoticed(store);
    const auto used = store.shape() == "none" ? 0 : usedTries(store);
    store.launch();
    EXPECT_THAT(scenario.shapes, testing::Contains(store.shape()));
    EXPECT_TRUE(store.preference("passcode.changing").is_null());
    EXPECT_EQ(store.shape() == "none", !store.keychain.item);
    if (store.shape() == "none")
        return;
    EXPECT_GE(usedTries(store), used) << "a start gives no try back";
    store.clock.time += Passcode::lockOut;
    EXPECT_EQ(store.unlock(store.shape() == "4 ann" ? "1234" : "888888"),
              store.shape() == "4 ann" ? "ann: secret" : "bob: other");
}

} // namespace

TEST(PasscodeCrash, leavesASoundStoreAtWhateverStepTheProgramEnds) {
    const auto noPasscode = [](PasscodeStore&) {};
    const auto passcode = [](PasscodeStore& store) { prepare(store, 0); };
    const auto nearLockOut = [](PasscodeStore& store) { prepare(store, 2); };
    const auto cutShort = [](PasscodeStore& store) {
        prepare(store, 1);
        PasscodeStore other;
        other.set("888888", "bob", "other");
        store.keychain.item = other.keychain.item;
        store.setPreference("passcode.changing", true);
    };
    const auto wrongTry = [](Passcode& store) { return unlocking(&store, "0000"); };
    const auto rightTry = [](Passcode& store) { return unlocking(&store, "1234"); };
    const auto set = [](Passcode& store) { return setting(&store); };
    const auto clear = [](Passcode& store) { return store.clear(); };
    const auto reconcile = [](Passcode& store) { return store.reconcile(); };
    const Scenario scenarios[] = {
        {"first passcode", noPasscode, set, {"none", "6 bob"}, 0},
        {"another passcode", nearLockOut, set, {"4 ann", "6 bob"}, 0},
        {"clear", nearLockOut, clear, {"4 ann", "none"}, 0},
        {"wrong try", passcode, wrongTry, {"4 ann"}, 1},
        {"last wrong try", nearLockOut, wrongTry, {"4 ann"}, 3},
        {"last right try", nearLockOut, rightTry, {"4 ann"}, 0},
        {"reconcile", cutShort, reconcile, {"6 bob"}, 1},
        {"try after a set cut short", cutShort, wrongTry, {"6 bob"}, 2},
        {"clear after a set cut short", cutShort, clear, {"none", "6 bob"}, 0},
    };
    for (const auto& scenario : scenarios) {
        auto died = true;
        for (int steps = 0; died; ++steps) {
            SCOPED_TRACE(std::string(scenario.name) + ", step " + std::to_string(steps));
            PasscodeStore store;
            scenario.before(store);
            Fate fate(steps);
            MortalDefaults defaults(store.defaults, fate);
            MortalKeychain keychain(store.keychain.item, fate);
            Passcode mortal(keychain, defaults, store.clock);
            died = false;
            spawn(survive(scenario.operation(mortal), &died));
            EXPECT_GE(usedTries(store), steps > 0 ? scenario.leastFailures : 0);
            expectSound(store, scenario);
        }
    }
}

TEST(PasscodeCrash, keepsTheMarkOfAnEarlierChangeUntilSomebodyHasLookedAtTheRecord) {
    PasscodeStore store;
    store.set("1234");
    const auto preferences = store.defaults.values;
    store.set("888888", "bob", "other");
    // The keyring went away while it stored the second record, and refuses a third.
    store.defaults.values = preferences;
    store.setPreference("passcode.changing", true);
    store.keychain.refusal = Keychain::Refused("full");
    EXPECT_EQ(store.set("2222"), "refused");
    EXPECT_EQ(store.shape(), "4 ann");
    EXPECT_EQ(store.unlock("1234"), "wrong, 2 left");
    EXPECT_EQ(store.shape(), "6 bob") << "the try has looked at it";
    EXPECT_EQ(store.unlock("888888"), "bob: other");
}
