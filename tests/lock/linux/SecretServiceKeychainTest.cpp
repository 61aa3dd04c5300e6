#include "lock/linux/SecretServiceKeychain.h"

#include "linux/MainLoop.h"
#include "lock/linux/KeyringDaemon.h"
#include "lock/linux/Prompter.h"
#include "platform/linux/GAsync.h"

#include <gtest/gtest.h>
#include <libsecret/secret.h>

#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr auto service = "app.brisko.Test";

class SecretServiceKeychainTest : public testing::Test {
protected:
    std::string read(Keychain& keychain) {
        const auto data = MainLoop::finish(keychain.read());
        return data ? std::string(data->view()) : "none";
    }
    void write(Keychain& keychain, std::string_view data) {
        MainLoop::finish(keychain.write(SecretText(data)));
    }
    /// What a person reads; "" when nothing fails.
    template <class Operation>
    static std::string failureOf(Operation operation) {
        try {
            MainLoop::finish(std::move(operation));
        } catch (const Keychain::Unavailable& failure) {
            return failure.what();
        }
        return "";
    }
};

/// With a person in front of the desktop, and the item "first" in a locked keyring.
class LockedKeyringTest : public SecretServiceKeychainTest {
protected:
    Prompter prompter;
    KeyringDaemon daemon;
    SecretServiceKeychain keychain{service};

    void SetUp() override {
        daemon.kill();
        daemon.setPrompter(prompter.name());
        daemon.start();
        write(keychain, "first");
        daemon.lock();
    }
    /// Returns once the prompt is open. The person takes longer over it than the test.
    std::shared_ptr<Outcome<std::optional<SecretText>>> startAsking(Keychain& asking) {
        prompter.setDelay(600'000);
        prompter.dismiss();
        auto reading = begin(asking.read());
        // The prompter has a thread of its own and wakes nobody.
        const auto waking = g_timeout_add(1, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
        MainLoop::runUntil([&] { return prompter.isPrompting(); });
        g_source_remove(waking);
        return reading;
    }
};

/// The attributes and the label as another program sees them.
Task<std::string> describeItems() {
    auto* any = secret_schema_new("any", SECRET_SCHEMA_DONT_MATCH_NAME, "account",
                                  SECRET_SCHEMA_ATTRIBUTE_STRING, nullptr);
    GAsync searching;
    secret_password_search(any, SECRET_SEARCH_ALL, nullptr, GAsync::ready, &searching, "account", "passcode",
                           nullptr);
    const auto result = co_await searching;
    auto* found = secret_password_search_finish(result.get(), nullptr);
    secret_schema_unref(any);
    std::string text;
    for (auto* link = found; link; link = link->next) {
        auto* retrievable = SECRET_RETRIEVABLE(link->data);
        auto* attributes = secret_retrievable_get_attributes(retrievable);
        const GText label(secret_retrievable_get_label(retrievable));
        text += std::string(label.get()) + ": " +
                static_cast<const char*>(g_hash_table_lookup(attributes, "service")) + ", " +
                static_cast<const char*>(g_hash_table_lookup(attributes, "account")) + "\n";
        g_hash_table_unref(attributes);
    }
    g_list_free_full(found, g_object_unref);
    // libsecret would go on with the service that it has found first.
    secret_service_disconnect();
    co_return text;
}

} // namespace

TEST_F(SecretServiceKeychainTest, isFoundUnderItsAttributesByOtherProgramsAndKeptApartFromOtherProfiles) {
    const KeyringDaemon daemon;
    SecretServiceKeychain keychain(service);
    SecretServiceKeychain other("app.brisko.Other");
    write(keychain, "first");
    write(keychain, "second");
    EXPECT_EQ(MainLoop::finish(describeItems()), "brisko passcode: app.brisko.Test, passcode\n");
    EXPECT_EQ(read(other), "none");
    write(other, "another");
    MainLoop::finish(keychain.remove());
    EXPECT_EQ(read(keychain), "none");
    EXPECT_EQ(read(other), "another");
}

TEST_F(SecretServiceKeychainTest, saysInPlainWordsThatThereIsNoService) {
    SecretServiceKeychain keychain(service);
    EXPECT_EQ(failureOf(keychain.read()),
              "The keyring could not be opened: The name org.freedesktop.secrets was not "
              "provided by any .service files");
}

TEST_F(SecretServiceKeychainTest, findsNothingWhereThePersonHasNoKeyringYet) {
    const KeyringDaemon daemon(KeyringDaemon::Login::none);
    SecretServiceKeychain keychain(service);
    EXPECT_EQ(read(keychain), "none");
    EXPECT_EQ(failureOf(keychain.remove()), "");
}

TEST_F(SecretServiceKeychainTest, givesUpOnAServiceThatDoesNotAnswer) {
    KeyringDaemon daemon;
    SecretServiceKeychain keychain(service, 50ms);
    write(keychain, "first");
    daemon.freeze();
    for (auto* operation : {"read", "write", "remove"}) {
        const auto what = std::string(operation);
        const auto failure = what == "read"    ? failureOf(keychain.read())
                             : what == "write" ? failureOf(keychain.write(SecretText(std::string("x"))))
                                               : failureOf(keychain.remove());
        EXPECT_EQ(failure, "The keyring could not be opened: The keyring does not answer.") << what;
    }
    daemon.thaw();
    SecretServiceKeychain patient(service);
    EXPECT_EQ(read(patient), "first");
}

TEST_F(SecretServiceKeychainTest, endsWhatIsOpenWhenItGoes) {
    KeyringDaemon daemon;
    auto keychain = std::make_unique<SecretServiceKeychain>(service);
    daemon.freeze();
    const auto reading = begin(keychain->read());
    EXPECT_FALSE(reading->ended());
    keychain.reset();
    ASSERT_TRUE(reading->ended());
    EXPECT_THROW(reading->take(), Keychain::Unavailable);
}

TEST_F(SecretServiceKeychainTest, losesNoItemWhenTheServiceDiesWhileItStoresAnother) {
    KeyringDaemon daemon;
    SecretServiceKeychain keychain(service);
    std::string standing = "0";
    write(keychain, standing);
    // The daemon dies a few events later each time, until a write has ended before that.
    int completed = 0;
    for (int events = 0; completed < 3 && events < 200; ++events) {
        const auto next = std::to_string(events + 1);
        const auto writing = begin(keychain.write(SecretText(std::string_view(next))));
        for (int count = 0; count < events && !writing->ended(); ++count)
            g_main_context_iteration(nullptr, TRUE);
        completed += writing->ended() ? 1 : 0;
        daemon.kill();
        const auto stored = failureOf(writing).empty();
        daemon.start();
        const auto found = read(keychain);
        EXPECT_TRUE(found == next || (!stored && found == standing)) << found << " after " << events;
        standing = found;
    }
    EXPECT_EQ(completed, 3);
}

TEST_F(LockedKeyringTest, isUnavailableWhenThePersonDismissesThePrompt) {
    prompter.dismiss();
    EXPECT_EQ(failureOf(keychain.read()), "The keyring could not be opened: It is locked.");
    prompter.dismiss();
    EXPECT_EQ(failureOf(keychain.write(SecretText(std::string("second")))),
              "The keyring could not be opened: It is locked.");
    EXPECT_EQ(failureOf(keychain.remove()), "The keyring could not be opened: It is locked.")
        << "nobody is asked";
    prompter.typePassword(KeyringDaemon::password);
    EXPECT_EQ(read(keychain), "first");
}

TEST_F(LockedKeyringTest, opensForWritingToo) {
    prompter.typePassword(KeyringDaemon::password);
    write(keychain, "second");
    EXPECT_EQ(read(keychain), "second");
    EXPECT_EQ(MainLoop::finish(describeItems()), "brisko passcode: app.brisko.Test, passcode\n");
    daemon.lock();
    prompter.typePassword(KeyringDaemon::password);
    SecretServiceKeychain other("app.brisko.Other");
    write(other, "third");
    EXPECT_EQ(read(other), "third");
}

TEST_F(LockedKeyringTest, waitsForThePersonLongerThanForTheService) {
    prompter.setDelay(1500);
    prompter.typePassword(KeyringDaemon::password);
    SecretServiceKeychain impatient(service, 500ms);
    EXPECT_EQ(read(impatient), "first");
}

TEST_F(LockedKeyringTest, takesThePromptAwayWhenItGoes) {
    auto leaving = std::make_unique<SecretServiceKeychain>(service);
    const auto reading = startAsking(*leaving);
    EXPECT_FALSE(reading->ended());
    leaving.reset();
    ASSERT_TRUE(reading->ended());
    EXPECT_THROW(reading->take(), Keychain::Unavailable);
}

TEST_F(LockedKeyringTest, isUnavailableWhenTheServiceDiesWhileThePersonIsAsked) {
    const auto reading = startAsking(keychain);
    daemon.kill();
    EXPECT_EQ(failureOf(reading), "The keyring could not be opened: It is locked.");
}
