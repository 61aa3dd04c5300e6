#include "lock/PasscodeStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace {

/// The program ends here.
struct Death {};

struct Scenario {
    const char* name;
    std::function<void(PasscodeStore&)> before;
    std::function<void(Passcode&)> operation;
    /// What may stand afterwards: the passcode and its words, or nothing.
    std::vector<std::string> shapes;
    int leastFailures; ///< after the first change; a lock-out counts as three
};

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
    const auto record = store.record();
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

/// Ends the program right before or right after the change of that number, or while a key is derived. Returns
/// whether it came to that.
bool dies(const Scenario& scenario, PasscodeStore& store, int steps) {
    auto left = steps;
    const auto step = [&left] {
        if (left-- == 0)
            throw Death();
    };
    store.keychain.aroundChange = store.defaults.aroundChange = step;
    Passcode mortal(store.keychain, store.defaults, store.clock, [&](const auto& code, const auto& salt) {
        step();
        return deriveInOneRound(code, salt);
    });
    scenario.operation(mortal);
    store.keychain.aroundChange = store.defaults.aroundChange = nullptr;
    return left < 0;
}

} // namespace

TEST(PasscodeCrash, leavesASoundStoreAtWhateverStepTheProgramEnds) {
    const auto noPasscode = [](PasscodeStore&) {};
    const auto passcode = [](PasscodeStore& store) { store.set("1234"); };
    const auto nearLockOut = [](PasscodeStore& store) {
        store.expect("set   0000    0000", "done  2 left  1 left");
    };
    const auto cutShort = [](PasscodeStore& store) {
        store.expect("set   0000", "done  2 left");
        PasscodeStore other;
        other.set("888888", "bob", "other");
        store.keychain.item = other.keychain.item;
        store.setPreference("passcode.changing", true);
    };
    const auto wrongTry = [](Passcode& store) { begin(store.unlock(SecretText("0000"))); };
    const auto rightTry = [](Passcode& store) { begin(store.unlock(SecretText("1234"))); };
    const auto set = [](Passcode& store) {
        begin(store.set(SecretText("888888"), "bob", SecretText("other")));
    };
    const auto clear = [](Passcode& store) { begin(store.clear()); };
    const auto reconcile = [](Passcode& store) { begin(store.reconcile()); };
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
            died = dies(scenario, store, steps);
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
    EXPECT_EQ(store.set("2222"), "The keychain would not store it: full");
    EXPECT_EQ(store.shape(), "4 ann");
    // The first try looks at it.
    store.expect("1234    start  888888", "2 left  6 bob  bob: other");
}
