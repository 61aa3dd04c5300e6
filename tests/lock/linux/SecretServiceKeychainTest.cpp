#include "lock/linux/SecretServiceKeychain.h"

#include "linux/MainLoop.h"
#include "lock/linux/KeyringDaemon.h"
#include "lock/linux/Prompter.h"
#include "platform/linux/GAsync.h"

#include <gtest/gtest.h>
#include <libsecret/secret.h>

using namespace std::chrono_literals;

namespace {

constexpr auto service = "app.brisko.Test";
constexpr auto locked = "The keyring could not be opened: It is locked.";

/// A session bus that starts no service by itself, and a home: none of the person's own.
class PrivateSession : public testing::Environment {
public:
    void SetUp() override {
        for (const auto* name :
             {"HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"})
            setenv(name, home_.path().c_str(), 1);
        g_test_dbus_up(bus_.get());
    }
    void TearDown() override { g_test_dbus_down(bus_.get()); }

private:
    TemporaryFolder home_{"keyring-session"};
    GPtr<GTestDBus> bus_ = GPtr<GTestDBus>::take(g_test_dbus_new(G_TEST_DBUS_NONE));
};
const auto* const session = testing::AddGlobalTestEnvironment(std::make_unique<PrivateSession>().release());

/// The data that was read, "none", or what a person reads of the failure.
std::string endOf(const std::shared_ptr<Outcome<std::optional<SecretText>>>& reading) {
    MainLoop::runUntil([&] { return reading->ended(); });
    if (reading->failure)
        return reading->message();
    return *reading->value ? std::string((*reading->value)->view()) : "none";
}
std::string read(Keychain& keychain) {
    return endOf(begin(keychain.read()));
}
/// What a person reads of the failure; "" when there is none.
std::string endOf(const std::shared_ptr<Outcome<Done>>& operation) {
    MainLoop::runUntil([&] { return operation->ended(); });
    return operation->message();
}
std::string write(Keychain& keychain, const char* data) {
    return endOf(begin(keychain.write(SecretText(data))));
}
std::string remove(Keychain& keychain) {
    return endOf(begin(keychain.remove()));
}

/// The labels and attributes of the items as another program sees them.
Task<std::string> findItems() {
    const std::unique_ptr<SecretSchema, void (*)(SecretSchema*)> any(
        secret_schema_new("any", SECRET_SCHEMA_DONT_MATCH_NAME, "account", SECRET_SCHEMA_ATTRIBUTE_STRING,
                          nullptr),
        secret_schema_unref);
    GAsync searching;
    secret_password_search(any.get(), SECRET_SEARCH_ALL, nullptr, GAsync::ready, &searching, "account",
                           "passcode", nullptr);
    const auto result = co_await searching;
    auto* found = secret_password_search_finish(result.get(), nullptr);
    std::string text;
    for (auto* link = found; link; link = link->next) {
        auto* item = SECRET_RETRIEVABLE(link->data);
        const GText label(secret_retrievable_get_label(item));
        auto* attributes = secret_retrievable_get_attributes(item);
        text += std::string(label.get()) + " of " +
                static_cast<const char*>(g_hash_table_lookup(attributes, "service"));
        g_hash_table_unref(attributes);
    }
    g_list_free_full(found, g_object_unref);
    // The library would go on with the service that it has found first.
    secret_service_disconnect();
    co_return text;
}
std::string items() {
    return MainLoop::finish(findItems());
}

/// With a person in front of the desktop, and the item "first" in a locked keyring.
class LockedKeyring : public testing::Test {
protected:
    Prompter prompter;
    KeyringDaemon daemon{KeyringDaemon::Login::opened, prompter.name()};
    SecretServiceKeychain keychain{service};

    void SetUp() override {
        write(keychain, "first");
        daemon.lock();
    }
    /// Returns once the prompt is open. The person takes longer over it than the test.
    std::shared_ptr<Outcome<std::optional<SecretText>>> startAsking(Keychain& asking) {
        prompter.setDelay(600'000);
        prompter.dismiss();
        auto reading = begin(asking.read());
        prompter.waitUntilPrompting();
        return reading;
    }
};

} // namespace

TEST(SecretServiceKeychain, isFoundUnderItsAttributesByOtherProgramsAndKeptApartFromOtherProfiles) {
    const KeyringDaemon daemon;
    SecretServiceKeychain keychain(service), other("app.brisko.Other");
    write(keychain, "first");
    write(keychain, "second");
    EXPECT_EQ(items(), "brisko passcode of app.brisko.Test");
    EXPECT_EQ(read(other), "none");
    write(other, "another");
    remove(keychain);
    EXPECT_EQ(read(keychain), "none");
    EXPECT_EQ(read(other), "another");
}

TEST(SecretServiceKeychain, tellsAPersonWithoutAKeyringFromAMachineWithoutAService) {
    SecretServiceKeychain keychain(service);
    EXPECT_EQ(read(keychain),
              "The keyring could not be opened: The name org.freedesktop.secrets was not provided by any "
              ".service files");
    const KeyringDaemon daemon(KeyringDaemon::Login::none);
    EXPECT_EQ(read(keychain), "none");
    EXPECT_EQ(remove(keychain), "");
}

TEST(SecretServiceKeychain, givesUpOnAServiceThatDoesNotAnswerAndEndsWhatIsOpenWhenItGoes) {
    KeyringDaemon daemon;
    SecretServiceKeychain patient(service), impatient(service, 50ms);
    auto leaving = std::make_unique<SecretServiceKeychain>(service);
    write(patient, "first");
    daemon.stop();
    for (const auto& end : {read(impatient), write(impatient, "second"), remove(impatient)})
        EXPECT_EQ(end, "The keyring could not be opened: The keyring does not answer.");
    const auto reading = begin(leaving->read());
    leaving.reset();
    ASSERT_TRUE(reading->ended());
    EXPECT_THROW(reading->take(), Keychain::Unavailable);
    daemon.goOn();
    EXPECT_EQ(read(patient), "first");
}

TEST_F(LockedKeyring, isUnavailableWhenThePersonDismissesThePromptAndOpensWithThePassword) {
    prompter.dismiss();
    EXPECT_EQ(read(keychain), locked);
    prompter.dismiss();
    EXPECT_EQ(write(keychain, "second"), locked);
    EXPECT_EQ(remove(keychain), locked) << "nobody is asked";
    prompter.typePassword(KeyringDaemon::password);
    EXPECT_EQ(read(keychain), "first");
    for (const auto* name : {service, "app.brisko.Other"}) {
        daemon.lock();
        prompter.typePassword(KeyringDaemon::password);
        SecretServiceKeychain writing(name);
        EXPECT_EQ(write(writing, "second"), "");
        EXPECT_EQ(read(writing), "second");
        EXPECT_EQ(items(), std::string("brisko passcode of ") + name);
        remove(writing);
    }
}

TEST_F(LockedKeyring, waitsForThePersonLongerThanForTheServiceAndTakesThePromptAwayWhenItGoes) {
    constexpr auto patience = 2s;
    auto impatient = std::make_unique<SecretServiceKeychain>(service, patience);
    const auto reading = startAsking(*impatient);
    auto passed = false;
    const auto pass = [](gpointer flag) -> gboolean { return *static_cast<bool*>(flag) = true; };
    const auto clock = g_timeout_add_full(G_PRIORITY_LOW + 1, 2000, pass, &passed, nullptr);
    MainLoop::runUntil([&] { return passed; });
    g_source_remove(clock);
    EXPECT_FALSE(reading->ended());
    impatient.reset();
    ASSERT_TRUE(reading->ended());
    EXPECT_THROW(reading->take(), Keychain::Unavailable);
}

TEST_F(LockedKeyring, isUnavailableWhenTheServiceDiesWhileThePersonIsAsked) {
    const auto reading = startAsking(keychain);
    daemon.kill();
    EXPECT_EQ(endOf(reading), locked);
}
