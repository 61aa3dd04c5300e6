#include "lock/PasscodeStore.h"

namespace {

/// The program ends here.
struct Death {};

struct Crash {
    const char* name;
    std::function<void(PasscodeStore&)> before, operation;
    std::vector<std::string> shapes; ///< one of them stands afterwards; without a crash, the last one
    int leastFailures;               ///< after the first change; a lock-out counts as three
};

class PasscodeCrash : public testing::Test {
protected:
    static constexpr int immortal = std::numeric_limits<int>::max();
    int left = immortal; ///< steps until the program ends

    /// Right before or right after a change, or while a key is derived.
    void step() {
        if (left-- == 0)
            throw Death();
    }
    static int usedTries(PasscodeStore& store) {
        const auto failures = store.preference("passcode.failures");
        return store.passcode.lockedUntil() ? 3 : failures.is_null() ? 0 : failures.get<int>();
    }
    static void expectSound(PasscodeStore& store, const std::vector<std::string>& shapes) {
        const auto shape = store.shape();
        // Shape and record differ only where the next start looks at them again.
        if (shape != "none" && store.preference("passcode.changing").is_null())
            EXPECT_EQ(shape,
                      store.record()["digits"].dump() + " " + store.record()["username"].get<std::string>());
        const auto used = shape == "none" ? 0 : usedTries(store);
        store.launch();
        EXPECT_NE(std::find(shapes.begin(), shapes.end(), store.shape()), shapes.end()) << store.shape();
        EXPECT_TRUE(store.preference("passcode.changing").is_null());
        EXPECT_EQ(store.shape() == "none", !store.keychain.item);
        if (store.shape() == "none")
            return;
        EXPECT_GE(usedTries(store), used) << "a start gives no try back";
        store.clock.time += Passcode::lockOut;
        const auto first = store.shape() == "4 ann";
        EXPECT_EQ(store.unlock(first ? "1234" : "888888"), first ? "ann: secret" : "bob: other");
    }
};

} // namespace

TEST_F(PasscodeCrash, leavesASoundStoreAtWhateverStepTheProgramEnds) {
    const auto none = [](PasscodeStore&) {};
    const auto passcode = [](PasscodeStore& store) { store.set("1234"); };
    const auto wrongTry = [](PasscodeStore& store) { store.unlock("0000"); };
    const auto rightTry = [](PasscodeStore& store) { store.unlock("1234"); };
    const auto set = [](PasscodeStore& store) { store.set("888888", "bob", "other"); };
    const auto clear = [](PasscodeStore& store) { wordsOf(begin(store.passcode.clear()), store.clock); };
    const auto reconcile = [](PasscodeStore& store) {
        wordsOf(begin(store.passcode.reconcile()), store.clock);
    };
    const auto nearLockOut = [](PasscodeStore& store) {
        store.story.play({{"set, try 0000, try 0000", R"(done, 2 left, 1 left; record 4 ann; digits 4; )"
                                                      R"(username "ann"; failures 2; auto true)"}});
    };
    const auto cutShort = [&](PasscodeStore& store) {
        passcode(store);
        wrongTry(store);
        const auto preferences = store.defaults.values;
        set(store);
        store.defaults.values = preferences;
        store.setPreference("passcode.changing", true);
    };
    const Crash crashes[] = {
        {"first passcode", none, set, {"none", "6 bob"}, 0},
        {"another passcode", nearLockOut, set, {"4 ann", "6 bob"}, 0},
        {"clear", nearLockOut, clear, {"4 ann", "none"}, 0},
        {"wrong try", passcode, wrongTry, {"4 ann"}, 1},
        {"last wrong try", nearLockOut, wrongTry, {"4 ann"}, 3},
        {"last right try", nearLockOut, rightTry, {"4 ann"}, 0},
        {"reconcile", cutShort, reconcile, {"6 bob"}, 1},
        {"try after a set cut short", cutShort, wrongTry, {"6 bob"}, 2},
        {"clear after a set cut short", cutShort, clear, {"6 bob", "none"}, 0},
    };
    for (const auto& crash : crashes) {
        auto died = true;
        for (int steps = 0; died; ++steps) {
            SCOPED_TRACE(std::string(crash.name) + ", step " + std::to_string(steps));
            PasscodeStore store([this](const auto& code, const auto& salt) {
                step();
                return deriveInOneRound(code, salt);
            });
            crash.before(store);
            store.keychain.aroundChange = store.defaults.aroundChange = [this] { step(); };
            left = steps;
            try {
                crash.operation(store);
            } catch (const Death&) {
            }
            died = std::exchange(left, immortal) < 0;
            EXPECT_GE(usedTries(store), steps > 0 ? crash.leastFailures : 0);
            expectSound(store, died ? crash.shapes : std::vector{crash.shapes.back()});
        }
    }
}

TEST_F(PasscodeCrash, keepsTheMarkOfAnEarlierChangeUntilSomebodyHasLookedAtTheRecord) {
    PasscodeStore store;
    store.set("1234");
    const auto preferences = store.defaults.values;
    store.set("888888", "bob", "other");
    // The keyring went away while it stored the second record, and refuses a third.
    store.defaults.values = preferences;
    store.setPreference("passcode.changing", true);
    store.story.play({{"keyring full, set", "The keychain would not store it: Full."},
                      // The first try looks at it.
                      {"try 1234", R"(2 left; digits 6; username "bob"; failures 1; no changing)"}});
}
