#include "lock/linux/SecretServiceKeychain.h"

#include "fakes/FakeLock.h"
#include "linux/BusObject.h"
#include "linux/MainLoop.h"
#include "platform/linux/TemporaryFolder.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>

using namespace std::chrono_literals;

namespace {

constexpr auto service = "app.brisko.Test";
constexpr auto locked = "The keyring could not be opened: It is locked.";

/// A session bus that starts no service by itself.
struct PrivateSession : testing::Environment {
    GPtr<GTestDBus> bus = GPtr<GTestDBus>::take(g_test_dbus_new(G_TEST_DBUS_NONE));
    void SetUp() override { g_test_dbus_up(bus.get()); }
    void TearDown() override { g_test_dbus_down(bus.get()); }
};
const auto* const session = testing::AddGlobalTestEnvironment(std::make_unique<PrivateSession>().release());

/// A real keyring daemon, with a home of its own, on the session bus of this process. It keeps its keyrings
/// when it is killed and started again, and ends with its owner.
class KeyringDaemon {
public:
    static constexpr auto password = "password of the login keyring";

    /// Its prompts go to the bus name of a prompter. The login keyring is there and open, as after a login
    /// with a password.
    explicit KeyringDaemon(std::string prompter = "") : prompter_(std::move(prompter)) { start(); }
    KeyringDaemon(const KeyringDaemon&) = delete;
    KeyringDaemon& operator=(const KeyringDaemon&) = delete;
    ~KeyringDaemon() { kill(); }

    /// Returns once the daemon is on the bus.
    void start() {
        constexpr auto flags =
            static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_SILENCE |
                                          G_SUBPROCESS_FLAGS_STDERR_SILENCE);
        const auto home = "HOME=" + home_.path().string(),
                   prompter = "GNOME_KEYRING_TEST_PROMPTER=" + prompter_,
                   bus = std::string("DBUS_SESSION_BUS_ADDRESS=") + g_getenv("DBUS_SESSION_BUS_ADDRESS");
        // On a full disk, a write fails; it does not end the daemon, which inherits this.
        std::signal(SIGXFSZ, SIG_IGN);
        process_ = GPtr<GSubprocess>::take(
            g_subprocess_new(flags, nullptr, "setpriv", "--pdeathsig=KILL", "env", "--ignore-environment",
                             home.c_str(), prompter.c_str(), bus.c_str(), "gnome-keyring-daemon",
                             "--foreground", "--components=secrets", "--unlock", nullptr));
        auto* input = g_subprocess_get_stdin_pipe(process_.get());
        g_output_stream_write_all(input, password, strlen(password), nullptr, nullptr, nullptr);
        g_output_stream_close(input, nullptr, nullptr);
        MainLoop::poll([this] { return BusObject::processOf(name, bus_.get()) == id(); });
    }
    /// Ends the daemon as a crash would (SIGKILL), and returns once it has left the bus.
    void kill() {
        g_subprocess_force_exit(process_.get());
        g_subprocess_wait(process_.get(), nullptr, nullptr);
        MainLoop::poll([this] { return BusObject::processOf(name, bus_.get()) == 0; });
    }
    /// Leaves it on the bus without an answer to anything; returns once it has stopped.
    void stop() const {
        siginfo_t stopped;
        ::kill(id(), SIGSTOP);
        waitid(P_PID, static_cast<id_t>(id()), &stopped, WSTOPPED | WNOWAIT);
    }
    void goOn() const { ::kill(id(), SIGCONT); }
    /// What another program is told; `arguments` are those of the service's method, as text.
    std::string tell(const char* method, const std::string& arguments) const {
        const GVariantPtr reply(g_dbus_connection_call_sync(
            bus_.get(), name, "/org/freedesktop/secrets", "org.freedesktop.Secret.Service", method,
            g_variant_new_parsed(arguments.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
        return reply ? GText(g_variant_print(reply.get(), FALSE)).get() : "refused";
    }
    void lock() const {
        EXPECT_EQ(tell("Lock", "([objectpath '/org/freedesktop/secrets/collection/login'],)"),
                  "(['/org/freedesktop/secrets/collection/login'], '/')");
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

struct Fake {
    FakeKeychain keychain;

    void setFull(bool isFull) {
        keychain.refusal = isFull ? std::optional(Keychain::Refused("full")) : std::nullopt;
    }
    void setThere(bool isThere) {
        keychain.unavailable = isThere ? std::nullopt : std::optional<std::string>("gone");
    }
};

struct Real {
    KeyringDaemon daemon;
    SecretServiceKeychain keychain{service};

    void setFull(bool isFull) { daemon.setDisk(isFull ? 0 : RLIM_INFINITY); }
    void setThere(bool isThere) { isThere ? daemon.start() : daemon.kill(); }
};

template <class Kind>
struct KeychainContract : testing::Test {
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
        MainLoop::poll([] { return function<gboolean (*)()>("is_prompting")() != FALSE; });
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

TYPED_TEST(KeychainContract, keepsOneItemThroughRefusalsAndAbsencesUntilItIsReplacedOrRemoved) {
    auto& kind = this->kind;
    EXPECT_EQ(remove(kind.keychain), "done");
    for (const std::string data : {"none", R"({"digits":4,"username":"zoë 🙂"})", "", "second"}) {
        if (data != "none")
            EXPECT_EQ(write(kind.keychain, data), "done");
        kind.setFull(true);
        EXPECT_THROW(MainLoop::finish(kind.keychain.write(SecretText("another"))), Keychain::Refused);
        kind.setFull(false);
        EXPECT_EQ(read(kind.keychain), data);
    }
    kind.setThere(false);
    EXPECT_THROW(MainLoop::finish(kind.keychain.read()), Keychain::Unavailable);
    EXPECT_THROW(MainLoop::finish(kind.keychain.write(SecretText("third"))), Keychain::Unavailable);
    EXPECT_THROW(MainLoop::finish(kind.keychain.remove()), Keychain::Unavailable);
    kind.setThere(true);
    EXPECT_EQ(read(kind.keychain), "second");
    EXPECT_EQ(remove(kind.keychain), "done");
    EXPECT_EQ(read(kind.keychain), "none");
}

TEST(SecretServiceKeychain, isNeverSaidToRefuseAnItemWhenTheServiceDiesWhileItStores) {
    KeyringDaemon daemon;
    SecretServiceKeychain keychain(service);
    auto standing = std::string("0"), end = write(keychain, standing);
    ASSERT_EQ(end, "done");
    // It dies a few events later each time, until an item has been stored before that.
    end.clear();
    for (int events = 1; end != "done" && events < 200; ++events) {
        const auto next = std::to_string(events);
        const auto writing = begin(keychain.write(SecretText(std::string_view(next))));
        for (int count = 0; count < events && !writing->ended(); ++count)
            g_main_context_iteration(nullptr, TRUE);
        daemon.kill();
        end = endOf(writing);
        EXPECT_TRUE(end == "done" || end.starts_with("The keyring could not be opened")) << end;
        daemon.start();
        const auto now = read(keychain);
        EXPECT_TRUE(now == next || (now == standing && end != "done")) << now << " after " << next;
        standing = now;
    }
    EXPECT_EQ(end, "done");
}

TEST(SecretServiceKeychain, isFoundUnderItsAttributesAndGivesUpOnAServiceThatDoesNotAnswer) {
    KeyringDaemon daemon;
    SecretServiceKeychain patient(service), impatient(service, 50ms), other("app.brisko.Other");
    auto leaving = std::make_unique<SecretServiceKeychain>(service);
    write(patient, "zeroth");
    write(patient, "first");
    EXPECT_EQ(daemon.tell("SearchItems", "({'service': 'app.brisko.Test', 'account': 'passcode'},)"),
              "(['/org/freedesktop/secrets/collection/login/1'], [])");
    EXPECT_EQ(read(other), "none") << "profiles are kept apart";
    EXPECT_EQ(remove(other), "done");
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

TEST_F(LockedKeyring, opensWithThePasswordAndIsUnavailableOnceThePersonHasDismissedThePrompt) {
    prompter.dismiss();
    EXPECT_EQ(read(keychain), locked);
    EXPECT_EQ(remove(keychain), locked) << "nobody is asked";
    prompter.typePassword();
    EXPECT_EQ(read(keychain), "first");
    daemon.lock();
    prompter.typePassword();
    SecretServiceKeychain other("app.brisko.Other");
    EXPECT_EQ(write(other, "second"), "done");
    EXPECT_EQ(read(other), "second");
}

TEST_F(LockedKeyring, waitsForThePersonLongerThanForTheServiceAndTakesThePromptAwayWhenItGoes) {
    auto impatient = std::make_unique<SecretServiceKeychain>(service, 2s);
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
