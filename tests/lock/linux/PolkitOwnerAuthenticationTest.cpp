#include "lock/linux/PolkitOwnerAuthentication.h"

#include "linux/MainLoop.h"
#include "lock/linux/PolkitAgent.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <memory>

/// Against the machine's own polkit and PAM, as `with-polkit` runs them.
namespace {

using namespace std::chrono_literals;
using Kind = OwnerAuthentication::Kind;
using Person = PolkitAgent::Person;

constexpr auto polkit = "org.freedesktop.PolicyKit1";

/// Waits until the name has an owner, and returns the process behind it.
pid_t processOf(const char* name) {
    const auto bus = GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    guint32 process = 0;
    MainLoop::runUntil([&] {
        const GVariantPtr answer(g_dbus_connection_call_sync(
            bus.get(), "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetConnectionUnixProcessID",
            g_variant_new("(s)", name), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
        if (answer)
            g_variant_get(answer.get(), "(u)", &process);
        else
            g_main_context_wakeup(nullptr);
        return process != 0;
    });
    return static_cast<pid_t>(process);
}

class PolkitOwnerAuthenticationTest : public testing::Test {
protected:
    SystemBus bus;
    PolkitOwnerAuthentication owner{bus, 200ms};
    pid_t daemon = processOf(polkit);

    bool ask() { return MainLoop::finish(owner.authenticate("unlock brisko")); }
    Kind kind() { return MainLoop::finish(owner.kind()); }
};

/// fprintd as far as it is asked, with the fingers of one person.
class Fprintd {
public:
    explicit Fprintd(std::vector<const char*> fingers) : fingers_(std::move(fingers)) {
        const GText address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
        bus_ = GPtr<GDBusConnection>::take(g_dbus_connection_new_for_address_sync(
            address.get(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr));
        serve("/net/reactivated/Fprint/Manager", R"(<node><interface name="net.reactivated.Fprint.Manager">
            <method name="GetDefaultDevice"><arg type="o" direction="out"/></method></interface></node>)");
        serve("/device/0", R"(<node><interface name="net.reactivated.Fprint.Device">
            <method name="ListEnrolledFingers"><arg type="s" direction="in"/><arg type="as" direction="out"/>
            </method></interface></node>)");
        const GVariantPtr owned(
            g_dbus_connection_call_sync(bus_.get(), "org.freedesktop.DBus", "/", "org.freedesktop.DBus",
                                        "RequestName", g_variant_new("(su)", "net.reactivated.Fprint", 0),
                                        nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    }
    Fprintd(const Fprintd&) = delete;
    Fprintd& operator=(const Fprintd&) = delete;
    ~Fprintd() { g_dbus_connection_close_sync(bus_.get(), nullptr, nullptr); }

private:
    void serve(const char* path, const char* description) {
        auto* const interfaces = g_dbus_node_info_new_for_xml(description, nullptr);
        const GDBusInterfaceVTable methods = {called, nullptr, nullptr, {}};
        g_dbus_connection_register_object(bus_.get(), path, interfaces->interfaces[0], &methods, this,
                                          nullptr, nullptr);
        g_dbus_node_info_unref(interfaces);
    }
    static void called(GDBusConnection*, const char*, const char*, const char*, const char* method, GVariant*,
                       GDBusMethodInvocation* call, gpointer data) {
        const auto& fingers = static_cast<Fprintd*>(data)->fingers_;
        if (std::string(method) == "GetDefaultDevice")
            g_dbus_method_invocation_return_value(call, g_variant_new("(o)", "/device/0"));
        else if (fingers.empty())
            g_dbus_method_invocation_return_dbus_error(call, "net.reactivated.Fprint.Error.NoEnrolledPrints",
                                                       "no finger");
        else
            g_dbus_method_invocation_return_value(
                call, g_variant_new("(@as)",
                                    g_variant_new_strv(fingers.data(), static_cast<gssize>(fingers.size()))));
    }

    std::vector<const char*> fingers_;
    GPtr<GDBusConnection> bus_;
};

} // namespace

TEST_F(PolkitOwnerAuthenticationTest, believesNobodyButTheOwnerWithTheirOwnPassword) {
    for (const auto& [person, proved] :
         {std::pair(Person::knowsPassword, true), {Person::guesses, false}, {Person::dismisses, false}}) {
        const PolkitAgent agent(person);
        EXPECT_EQ(ask(), proved);
        EXPECT_EQ(agent.actions, std::vector<std::string>{"app.brisko.Brisko.unlock"});
        EXPECT_EQ(
            agent.messages,
            std::vector<std::string>{"Authentication is required to unlock brisko or to switch its lock on"});
        EXPECT_EQ(kind(), Kind::password);
    }
    // Nothing is retained: whoever comes next is asked again.
    const PolkitAgent agent(Person::dismisses);
    EXPECT_FALSE(ask());
}

TEST_F(PolkitOwnerAuthenticationTest, cannotAskWithoutAnAgentAndLooksAgainAtTheNextQuestion) {
    EXPECT_EQ(kind(), Kind::password);
    EXPECT_FALSE(ask());
    EXPECT_EQ(kind(), Kind::none);
    const PolkitAgent agent(Person::knowsPassword);
    EXPECT_TRUE(ask());
    EXPECT_EQ(kind(), Kind::password);
}

TEST_F(PolkitOwnerAuthenticationTest, knowsAFingerThatIsEnrolled) {
    {
        const Fprintd fprintd({});
        EXPECT_EQ(kind(), Kind::password);
    }
    const Fprintd fprintd({"right-index-finger"});
    EXPECT_EQ(kind(), Kind::finger);
}

TEST_F(PolkitOwnerAuthenticationTest, takesTheQuestionsBackAtTheEndAndAsksNoMore) {
    PolkitAgent agent(Person::thinks);
    const auto first = begin(owner.authenticate("unlock brisko"));
    MainLoop::runUntil([&] { return agent.messages.size() == 1; });
    EXPECT_FALSE(first->ended());
    owner.cancelAll();
    EXPECT_EQ(first->value, false);
    MainLoop::runUntil([&] { return agent.cancelled == 1; });
    EXPECT_FALSE(ask());
    EXPECT_EQ(agent.messages.size(), 1U);
}

TEST_F(PolkitOwnerAuthenticationTest, doesNotWaitForAPolkitThatHasStoppedOrDied) {
    {
        PolkitAgent agent(Person::thinks);
        const auto answer = begin(owner.authenticate("unlock brisko"));
        MainLoop::runUntil([&] { return agent.messages.size() == 1; });
        kill(daemon, SIGSTOP);
        EXPECT_FALSE(MainLoop::finish(answer));
        kill(daemon, SIGCONT);
        // Once it goes on, it takes the question off the screen.
        MainLoop::runUntil([&] { return agent.cancelled == 1; });
    }
    {
        PolkitAgent agent(Person::thinks);
        const auto answer = begin(owner.authenticate("unlock brisko"));
        MainLoop::runUntil([&] { return agent.messages.size() == 1; });
        kill(daemon, SIGKILL);
        EXPECT_FALSE(MainLoop::finish(answer));
    }
    // A new one comes.
    processOf(polkit);
    const PolkitAgent agent(Person::knowsPassword);
    EXPECT_TRUE(ask());
}

TEST(PolkitOwnerAuthentication, isOfNoUseWithoutPolkitOrWithoutABus) {
    const auto daemon = GPtr<GTestDBus>::take(g_test_dbus_new(G_TEST_DBUS_NONE));
    g_test_dbus_up(daemon.get());
    for (const std::string address : {g_test_dbus_get_bus_address(daemon.get()), "unix:path=/nonexistent"}) {
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), TRUE);
        SystemBus bus;
        PolkitOwnerAuthentication owner(bus);
        EXPECT_EQ(MainLoop::finish(owner.kind()), Kind::none);
        EXPECT_FALSE(MainLoop::finish(owner.authenticate("unlock brisko")));
    }
    g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    g_test_dbus_down(daemon.get());
}
