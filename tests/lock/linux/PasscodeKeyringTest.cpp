#include "fakes/FakeLock.h"
#include "linux/FullDisk.h"
#include "linux/MainLoop.h"
#include "lock/PasscodeStore.h"
#include "lock/linux/KeyringDaemon.h"
#include "lock/linux/SecretServiceKeychain.h"
#include "platform/linux/JsonUserDefaults.h"

#include <gtest/gtest.h>

namespace {

class PasscodeKeyringTest : public testing::Test {
protected:
    KeyringDaemon daemon;
    TemporaryFolder folder{"passcode"};
    JsonUserDefaults defaults{folder.path() / "preferences.json"};
    SecretServiceKeychain keychain{"app.brisko.Test"};
    FakeClock clock;
    Passcode passcode{keychain, defaults, clock};
    PasscodeOperations operations{passcode, clock};

    static std::string end(const PasscodeOperations::Words& words) {
        MainLoop::runUntil([&] { return words->has_value(); });
        return **words;
    }
};

} // namespace

TEST_F(PasscodeKeyringTest, keepsAPasscodeThroughTheDeathOfTheKeyringBeforeAndAfterASet) {
    daemon.kill();
    EXPECT_EQ(end(operations.set("1234", "ann", "secret")), "unavailable");
    EXPECT_FALSE(passcode.shape());
    daemon.start();
    EXPECT_EQ(end(operations.set("1234", "ann", "secret")), "set");
    daemon.kill();
    EXPECT_EQ(end(operations.unlock("1234")), "unavailable");
    EXPECT_EQ(defaults.value("brisko.passcode.failures"), 0);
    daemon.start();
    EXPECT_EQ(end(operations.unlock("1234")), "ann: secret");
}

TEST_F(PasscodeKeyringTest, knowsWhichPasscodeStandsWhenTheKeyringDiesDuringASet) {
    std::string standing = "1234";
    end(operations.set(standing, "ann", "secret"));
    // The daemon dies a few events later each time, until a passcode has been set before that.
    auto stored = false;
    for (int events = 1; !stored && events < 200; events += 2) {
        const std::string next = standing == "1234" ? "88888888" : "1234";
        const auto setting = operations.set(next, "ann", "secret");
        for (int count = 0; count < events && !setting->has_value(); ++count)
            g_main_context_iteration(nullptr, TRUE);
        daemon.kill();
        stored = end(setting) == "set";
        daemon.start();

        end(operations.reconcile());
        ASSERT_TRUE(passcode.shape());
        const std::string found = passcode.shape()->digits == 4 ? "1234" : "88888888";
        EXPECT_TRUE(found == next || !stored);
        standing = found;
        EXPECT_EQ(end(operations.unlock(standing)), "ann: secret") << events;
    }
    EXPECT_TRUE(stored);
}

TEST_F(PasscodeKeyringTest, changesAndTriesNothingWhereTheDiskOfThePreferencesIsFull) {
    EXPECT_EQ(end(operations.set("1234", "ann", "secret")), "set");
    {
        const FullDisk full;
        EXPECT_EQ(end(operations.set("88888888", "bob", "other")), "error");
        EXPECT_EQ(end(operations.unlock("1234")), "unavailable") << "a try that cannot be counted";
    }
    EXPECT_EQ(end(operations.unlock("1234")), "ann: secret");
}
