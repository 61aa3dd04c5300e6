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

int usedTries(PasscodeStore& store) {
    const auto failures = store.preference("passcode.failures");
    return store.passcode.lockedUntil() ? 3 : failures.is_null() ? 0 : failures.get<int>();
}

void expectSound(PasscodeStore& store, const std::vector<std::string>& shapes) {
    const auto used = store.shape() == "none" ? 0 : usedTries(store);
    store.launch();
    const auto shape = store.shape();
    EXPECT_NE(std::find(shapes.begin(), shapes.end(), shape), shapes.end()) << shape;
    EXPECT_EQ(shape == "none", !store.keychain.item);
    if (shape == "none")
        return;
    EXPECT_GE(usedTries(store), used) << "a start gives no try back";
    store.clock.time += Passcode::lockOut;
    const auto first = shape == "4 ann";
    EXPECT_EQ(store.unlock(first ? "1234" : "888888"), first ? "ann: secret" : "bob: other");
}

} // namespace

TEST(PasscodeCrash, leavesASoundStoreAtWhateverStepTheProgramEnds) {
    const auto none = [](auto&) {};
    const auto passcode = [](auto& store) { store.set("1234"); };
    const auto wrongTry = [](auto& store) { store.unlock("0000"); };
    const auto rightTry = [](auto& store) { store.unlock("1234"); };
    const auto set = [](auto& store) { store.set("888888", "bob", "other"); };
    const auto clear = [](auto& store) { begin(store.passcode.clear())->take(); };
    const auto reconcile = [](auto& store) { begin(store.passcode.reconcile())->take(); };
    const auto nearLockOut = [&](auto& store) { passcode(store), wrongTry(store), wrongTry(store); };
    const auto cutShort = [&](auto& store) {
        passcode(store), wrongTry(store);
        auto preferences = store.defaults.values;
        preferences["brisko.passcode.changing"] = true;
        set(store);
        store.defaults.values = preferences;
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
    };
    for (const auto& crash : crashes) {
        auto died = true;
        for (int steps = 0; died; ++steps) {
            SCOPED_TRACE(std::string(crash.name) + ", step " + std::to_string(steps));
            auto left = std::numeric_limits<int>::max(); // steps until the program ends
            // Right before or right after a change, or while a key is derived.
            const auto step = [&] { left-- == 0 ? throw Death() : void(); };
            PasscodeStore store([&](const auto& code, const auto& salt) {
                step();
                return deriveInOneRound(code, salt);
            });
            crash.before(store);
            store.keychain.aroundChange = store.defaults.aroundChange = step;
            left = steps;
            try {
                crash.operation(store);
            } catch (const Death&) {
            }
            died = std::exchange(left, std::numeric_limits<int>::max()) < 0;
            EXPECT_GE(usedTries(store), steps > 0 ? crash.leastFailures : 0);
            expectSound(store, died ? crash.shapes : std::vector{crash.shapes.back()});
        }
    }
}
