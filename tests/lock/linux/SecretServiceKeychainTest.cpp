#include "lock/linux/SecretServiceKeychain.h"

#include "fakes/FakeLock.h"
#include "fakes/FakePlatform.h"
#include "linux/MainLoop.h"
#include "lock/Passcode.h"
#include "lock/linux/BusName.h"
#include "platform/linux/GPtr.h"
#include "platform/linux/TemporaryFolder.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libsecret/secret.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>

using namespace std::chrono_literals;

namespace {

constexpr auto service = "app.brisko.Test";
constexpr auto locked = "The keyring could not be opened: It is locked.";

/// A session bus that starts no service by itself.
class PrivateSession : public testing::Environment {
public:
    void SetUp() override { g_test_dbus_up(bus_.get()); }
    void TearDown() override { g_test_dbus_down(bus_.get()); }

private:
    GPtr<GTestDBus> bus_ = GPtr<GTestDBus>::take(g_test_dbus_new(G_TEST_DBUS_NONE));
};
const auto* const session = testing::AddGlobalTestEnvironment(std::make_unique<PrivateSession>().release());

/// A real keyring daemon, with a home of its own, on the session bus of this process. It keeps its keyrings
/// when it is killed and started again, and ends with its owner.
class KeyringDaemon {
public:
    static constexpr auto password = "password of the login keyring";

    /// Its prompts go to the bus name of a prompter. The login keyring is there and open, as after a login
    /// with a password; without "--unlock" the daemon has been started by the bus, and nobody has a keyring.
    explicit KeyringDaemon(std::string prompter = "", const char* unlock = "--unlock")
        : prompter_(std::move(prompter)), unlock_(unlock) {
        start();
    }
    KeyringDaemon(const KeyringDaemon&) = delete;
    KeyringDaemon& operator=(const KeyringDaemon&) = delete;
    ~KeyringDaemon() { kill(); }

    /// Returns once the daemon is on the bus.
    void start() {
        const auto launcher = GPtr<GSubprocessLauncher>::take(g_subprocess_launcher_new(
            static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_SILENCE |
                                          G_SUBPROCESS_FLAGS_STDERR_SILENCE)));
        for (const auto* name :
             {"HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"})
            g_subprocess_launcher_setenv(launcher.get(), name, home_.path().c_str(), TRUE);
        g_subprocess_launcher_unsetenv(launcher.get(), "DISPLAY");
        if (!prompter_.empty())
            g_subprocess_launcher_setenv(launcher.get(), "GNOME_KEYRING_TEST_PROMPTER", prompter_.c_str(),
                                         TRUE);
        const auto prepare = [](gpointer) {
            // On a full disk, a write fails; it does not end the daemon.
            std::signal(SIGXFSZ, SIG_IGN);
            prctl(PR_SET_PDEATHSIG, SIGKILL);
        };
        g_subprocess_launcher_set_child_setup(launcher.get(), prepare, nullptr, nullptr);
        GError* error = nullptr;
        process_ = GPtr<GSubprocess>::take(
            g_subprocess_launcher_spawn(launcher.get(), &error, "gnome-keyring-daemon", "--foreground",
                                        "--components=secrets", unlock_, nullptr));
        if (error)
            throw std::runtime_error(GErrorPtr(error)->message);
        auto* input = g_subprocess_get_stdin_pipe(process_.get());
        if (unlock_)
            g_output_stream_write_all(input, password, strlen(password), nullptr, nullptr, nullptr);
        g_output_stream_close(input, nullptr, nullptr);
        waitForName(G_BUS_TYPE_SESSION, name, Presence::present);
    }
    /// Ends the daemon as a crash would (SIGKILL), and returns once it has left the bus.
    void kill() {
        if (!process_)
            return;
        g_subprocess_force_exit(process_.get());
        g_subprocess_wait(process_.get(), nullptr, nullptr);
        process_ = {};
        waitForName(G_BUS_TYPE_SESSION, name, Presence::absent);
    }
    /// Leaves it on the bus without an answer to anything; returns once it has stopped.
    void stop() const {
        siginfo_t stopped;
        ::kill(id(), SIGSTOP);
        waitid(P_PID, static_cast<id_t>(id()), &stopped, WSTOPPED | WNOWAIT);
    }
    void goOn() const { ::kill(id(), SIGCONT); }
    /// Locks the login keyring.
    void lock() const {
        const char* collections[] = {"/org/freedesktop/secrets/collection/login", nullptr};
        const GVariantPtr reply(g_dbus_connection_call_sync(
            bus_.get(), name, "/org/freedesktop/secrets", "org.freedesktop.Secret.Service", "Lock",
            g_variant_new("(^ao)", collections), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
        EXPECT_TRUE(reply) << "the keyring stays open";
    }
    /// From now on its disk takes so many bytes of a file.
    void setDisk(rlim_t bytes) {
        const rlimit size = {bytes, RLIM_INFINITY};
        EXPECT_EQ(prlimit(id(), RLIMIT_FSIZE, &size, nullptr), 0);
    }

private:
    static constexpr auto name = "org.freedesktop.secrets";

    pid_t id() const { return std::atoi(g_subprocess_get_identifier(process_.get())); }
    /// Kept open as the program keeps its own: a call that is cancelled while the connection is only being
    /// made takes the next call with it.
    GPtr<GDBusConnection> bus_ =
        GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    std::string prompter_;
    const char* unlock_;
    TemporaryFolder home_{"keyring"};
    GPtr<GSubprocess> process_;
};

/// What was read, "none", "done", or what a person reads of the failure.
template <class T>
std::string endOf(const std::shared_ptr<Outcome<T>>& operation) {
    MainLoop::runUntil([&] { return operation->ended(); });
    if (operation->failure)
        return operation->message();
    if constexpr (std::is_same_v<T, std::optional<SecretText>>)
        return *operation->value ? std::string((*operation->value)->view()) : "none";
    return "done";
}
std::string read(Keychain& keychain) {
    return endOf(begin(keychain.read()));
}
std::string write(Keychain& keychain, std::string_view data) {
    return endOf(begin(keychain.write(SecretText(data))));
}
std::string remove(Keychain& keychain) {
    return endOf(begin(keychain.remove()));
}

/// The labels and attributes of the items as another program sees them.
std::string items() {
    const std::unique_ptr<SecretSchema, void (*)(SecretSchema*)> any(
        secret_schema_new("any", SECRET_SCHEMA_DONT_MATCH_NAME, "account", SECRET_SCHEMA_ATTRIBUTE_STRING,
                          nullptr),
        secret_schema_unref);
    auto* found = secret_password_search_sync(any.get(), SECRET_SEARCH_ALL, nullptr, nullptr, "account",
                                              "passcode", nullptr);
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
    return text;
}

struct Fake {
    FakeKeychain keychain;

    void refuse() { keychain.refusal = Keychain::Refused("full"); }
    void allow() { keychain.refusal.reset(); }
    void goAway() { keychain.unavailable = "gone"; }
    void comeBack() { keychain.unavailable.reset(); }
};

struct Real {
    KeyringDaemon daemon;
    SecretServiceKeychain keychain{service};

    void refuse() { daemon.setDisk(0); }
    void allow() { daemon.setDisk(RLIM_INFINITY); }
    void goAway() { daemon.kill(); }
    void comeBack() { daemon.start(); }
};

template <class Kind>
class KeychainContract : public testing::Test {
protected:
    Kind kind;
};
using Kinds = testing::Types<Fake, Real>;
TYPED_TEST_SUITE(KeychainContract, Kinds);

/// The person in front of the desktop's own prompt, played by the mock prompter of the library that
/// gnome-keyring asks through. It answers in the order in which it has been told to; what it has not been
/// told to expect, it fails.
class Prompter {
public:
    ~Prompter() { function<void (*)()>("stop")(); }

    const std::string name = function<const char* (*)()>("start")(); ///< on the bus

    void typePassword() const {
        function<void (*)(const char*, const char*, ...)>("expect_password_ok")(KeyringDaemon::password,
                                                                                nullptr);
    }
    void dismiss() const { function<void (*)()>("expect_close")(); }
    /// Returns once the prompt is open, over which the person takes longer than the test.
    std::shared_ptr<Outcome<std::optional<SecretText>>> startAsking(Keychain& asking) const {
        function<void (*)(guint)>("set_delay_msec")(600'000);
        dismiss();
        auto reading = begin(asking.read());
        // The prompter has a thread of its own and wakes nobody.
        const auto waking = g_timeout_add(1, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
        MainLoop::runUntil([] { return function<gboolean (*)()>("is_prompting")() != FALSE; });
        g_source_remove(waking);
        return reading;
    }

private:
    template <class Function>
    static Function function(const std::string& called) {
        static auto* const library = dlopen("libgcr-base-3.so.1", RTLD_NOW);
        return reinterpret_cast<Function>(dlsym(library, ("gcr_mock_prompter_" + called).c_str()));
    }
};

/// With a person in front of the desktop, and the item "first" in a locked keyring.
class LockedKeyring : public testing::Test {
protected:
    Prompter prompter;
    KeyringDaemon daemon{prompter.name};
    SecretServiceKeychain keychain{service};

    void SetUp() override {
        write(keychain, "first");
        daemon.lock();
    }
};

} // namespace

TYPED_TEST(KeychainContract, keepsOneItemUntilItIsReplacedOrRemovedAndTheEarlierOneWhenAnotherIsRefused) {
    auto& kind = this->kind;
    EXPECT_EQ(remove(kind.keychain), "done");
    for (const std::string data : {"none", R"({"digits":4,"username":"zoë 🙂"})", "", "second"}) {
        if (data != "none")
            EXPECT_EQ(write(kind.keychain, data), "done");
        kind.refuse();
        EXPECT_THROW(MainLoop::finish(kind.keychain.write(SecretText("another"))), Keychain::Refused);
        kind.allow();
        EXPECT_EQ(read(kind.keychain), data);
        EXPECT_EQ(read(kind.keychain), data);
    }
    EXPECT_EQ(remove(kind.keychain), "done");
    EXPECT_EQ(read(kind.keychain), "none");
}

TYPED_TEST(KeychainContract, tellsAKeyringThatIsNotThereFromAnEmptyOne) {
    auto& kind = this->kind;
    write(kind.keychain, "first");
    kind.goAway();
    EXPECT_THROW(MainLoop::finish(kind.keychain.read()), Keychain::Unavailable);
    EXPECT_THROW(MainLoop::finish(kind.keychain.write(SecretText("second"))), Keychain::Unavailable);
    EXPECT_THROW(MainLoop::finish(kind.keychain.remove()), Keychain::Unavailable);
    kind.comeBack();
    EXPECT_EQ(read(kind.keychain), "first");
    EXPECT_EQ(write(kind.keychain, "third"), "done");
    EXPECT_EQ(read(kind.keychain), "third");
}

TEST(PasscodeKeyring, knowsWhichPasscodeStandsWhenTheKeyringDiesDuringASet) {
    KeyringDaemon daemon;
    FakeUserDefaults defaults;
    FakeClock clock;
    SecretServiceKeychain keychain(service);
    Passcode passcode(keychain, defaults, clock, deriveInOneRound);
    const auto set = [&](std::string_view code) {
        return begin(passcode.set(SecretText(code), "ann", SecretText("secret")));
    };
    std::string standing = "1234";
    ASSERT_EQ(endOf(set(standing)), "done");
    // It dies a few events later each time, until a passcode has been set before that.
    auto stored = false;
    for (int events = 1; !stored && events < 200; ++events) {
        SCOPED_TRACE("after " + std::to_string(events) + " events");
        const std::string next = standing == "1234" ? "88888888" : "1234";
        const auto setting = set(next);
        for (int count = 0; count < events && !setting->ended(); ++count)
            g_main_context_iteration(nullptr, TRUE);
        daemon.kill();
        const auto end = endOf(setting);
        stored = end == "done";
        EXPECT_TRUE(stored || end.starts_with("The keyring could not be opened")) << end;
        daemon.start();
        MainLoop::finish(passcode.reconcile());
        ASSERT_TRUE(passcode.shape());
        standing = passcode.shape()->digits == 4 ? "1234" : "88888888";
        EXPECT_TRUE(standing == next || !stored);
        const auto account = MainLoop::finish(passcode.unlock(SecretText(std::string_view(standing))));
        EXPECT_EQ(account.password.view(), "secret");
    }
    EXPECT_TRUE(stored);
}

TEST(SecretServiceKeychain, isFoundUnderItsAttributesByOtherProgramsAndKeptApartFromOtherProfiles) {
    SecretServiceKeychain keychain(service), other("app.brisko.Other");
    EXPECT_EQ(read(keychain),
              "The keyring could not be opened: The name org.freedesktop.secrets was not provided "
              "by any .service files");
    const KeyringDaemon daemon;
    write(keychain, "first");
    write(keychain, "second");
    EXPECT_EQ(items(), "brisko passcode of app.brisko.Test");
    EXPECT_EQ(read(other), "none");
    write(other, "another");
    remove(keychain);
    EXPECT_EQ(read(keychain), "none");
    EXPECT_EQ(read(other), "another");
}

TEST(SecretServiceKeychain, findsNothingWhereNobodyHasAKeyringYet) {
    const KeyringDaemon daemon("", nullptr);
    SecretServiceKeychain keychain(service);
    EXPECT_EQ(read(keychain), "none");
    EXPECT_EQ(remove(keychain), "done");
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
    prompter.typePassword();
    EXPECT_EQ(read(keychain), "first");
    for (const auto* name : {service, "app.brisko.Other"}) {
        daemon.lock();
        prompter.typePassword();
        SecretServiceKeychain writing(name);
        EXPECT_EQ(write(writing, "second"), "done");
        EXPECT_EQ(read(writing), "second");
        EXPECT_EQ(items(), std::string("brisko passcode of ") + name);
        remove(writing);
    }
}

TEST_F(LockedKeyring, waitsForThePersonLongerThanForTheServiceAndTakesThePromptAwayWhenItGoes) {
    constexpr auto patience = 2s;
    auto impatient = std::make_unique<SecretServiceKeychain>(service, patience);
    const auto reading = prompter.startAsking(*impatient);
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
    const auto reading = prompter.startAsking(keychain);
    daemon.kill();
    EXPECT_EQ(endOf(reading), locked);
}
