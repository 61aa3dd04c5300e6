#include "linux/MainLoop.h"
#include "lock/PasscodeStore.h"
#include "lock/linux/KeyringDaemon.h"
#include "lock/linux/SecretServiceKeychain.h"
#include "platform/linux/JsonUserDefaults.h"

#include <gtest/gtest.h>

namespace {

/// What a start of the program makes of the keyring and of the disk.
struct Program {
    explicit Program(const std::filesystem::path& preferences) : defaults(preferences) {}

    JsonUserDefaults defaults;
    SecretServiceKeychain keychain{"app.brisko.Test"};
    FakeClock clock;
    Passcode passcode{keychain, defaults, clock, deriveInOneRound};

    auto set(const std::string& code) {
        return begin(passcode.set(SecretText(code.c_str()), "ann", SecretText("secret")));
    }
    template <class T>
    std::string endOf(const std::shared_ptr<Outcome<T>>& outcome) const {
        MainLoop::runUntil([&] { return outcome->ended(); });
        return wordsOf(outcome, clock);
    }
};

} // namespace

TEST(PasscodeKeyring, knowsWhichPasscodeStandsWhenKeyringAndProgramDieDuringASet) {
    KeyringDaemon daemon;
    const TemporaryFolder folder("passcode");
    const auto preferences = folder.path() / "preferences.json";
    std::string standing = "1234";
    {
        Program first(preferences);
        ASSERT_EQ(first.endOf(first.set(standing)), "done");
    }
    // Both die a few events later each time, until a passcode has been set before that.
    auto stored = false;
    for (int events = 1; !stored && events < 200; ++events) {
        SCOPED_TRACE("after " + std::to_string(events) + " events");
        const std::string next = standing == "1234" ? "88888888" : "1234";
        {
            Program dying(preferences);
            const auto setting = dying.set(next);
            for (int count = 0; count < events && !setting->ended(); ++count)
                g_main_context_iteration(nullptr, TRUE);
            daemon.kill();
            const auto end = dying.endOf(setting);
            stored = end == "done";
            EXPECT_TRUE(stored || end.starts_with("The keyring could not be opened")) << end;
        }
        daemon.start();
        Program program(preferences);
        MainLoop::finish(program.passcode.reconcile());
        ASSERT_TRUE(program.passcode.shape());
        standing = program.passcode.shape()->digits == 4 ? "1234" : "88888888";
        EXPECT_TRUE(standing == next || !stored);
        EXPECT_EQ(program.endOf(begin(program.passcode.unlock(SecretText(standing.c_str())))), "ann: secret");
    }
    EXPECT_TRUE(stored);
}
