#include "lock/linux/KillRounds.h"
#include "platform/linux/GPtr.h"
#include "platform/linux/TemporaryFolder.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string_view>

namespace {

/// A session bus that starts no service by itself, and a home: none of the person's own.
class PrivateSession : public testing::Environment {
public:
    void SetUp() override {
        for (const auto* name :
             {"HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"})
            setenv(name, home_.path().c_str(), 1);
        bus_ = GPtr<GTestDBus>::take(g_test_dbus_new(G_TEST_DBUS_NONE));
        g_test_dbus_up(bus_.get());
    }
    void TearDown() override { g_test_dbus_down(bus_.get()); }

private:
    TemporaryFolder home_{"keyring-session"};
    GPtr<GTestDBus> bus_;
};

} // namespace

/// Beside the options of the test framework: --rounds N, how often the kill test kills; --seed N, what it
/// starts from.
int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    for (int index = 1; index + 1 < count; index += 2) {
        const std::string_view option = arguments[index];
        const auto value = static_cast<unsigned>(std::atoi(arguments[index + 1]));
        if (option == "--rounds")
            killRounds().rounds = value;
        else if (option == "--seed")
            killRounds().seed = value;
    }
    testing::AddGlobalTestEnvironment(std::make_unique<PrivateSession>().release());
    return RUN_ALL_TESTS();
}
