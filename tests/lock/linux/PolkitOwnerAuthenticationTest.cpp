#include "lock/linux/PolkitOwnerAuthentication.h"

#include "linux/BusObject.h"
#include "linux/MainLoop.h"
#include "platform/linux/DBus.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

/// Against the machine's own polkit and PAM, as `with-polkit` runs them.
namespace {

using namespace std::chrono_literals;
using Kind = OwnerAuthentication::Kind;

constexpr auto polkit = "org.freedesktop.PolicyKit1";

GPtr<GDBusConnection> connectToSystemBus() {
    const GText address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    return BusObject::connectTo(address.get());
}

/// The desktop's part of polkit with a person in front of it, for this process alone: it hands the password
/// to the machine's own helper, which asks PAM.
class Agent {
public:
    std::vector<std::string> shown; ///< to the person: the action and the message of each question
    int cancelled = 0;              ///< questions that polkit has taken back

    /// Returns once polkit knows of it; polkit forgets it when it leaves the bus. An empty `password` is that
    /// of somebody who still thinks it over.
    explicit Agent(std::string password) : password_(std::move(password)) {
        const DBus::Method enlist{polkit, "/org/freedesktop/PolicyKit1/Authority",
                                  "org.freedesktop.PolicyKit1.Authority", "RegisterAuthenticationAgent"};
        // polkit looks the start of the process up by itself when it is given as 0.
        auto* self = g_variant_new_parsed(
            "(('unix-process', {'pid': <%u>, 'start-time': <uint64 0>}), 'C', '/agent')", getpid());
        const auto enlisted = MainLoop::finish(
            DBus::call(GPtr<GDBusConnection>::share(object_.bus()), enlist, DBus::own(self), {}));
        EXPECT_FALSE(enlisted.error) << enlisted.error->message;
    }

private:
    static constexpr auto description = R"xml(<node name="/agent">
        <interface name="org.freedesktop.PolicyKit1.AuthenticationAgent"><method name="BeginAuthentication">
        <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
        <arg type="a{ss}" direction="in"/><arg type="s" direction="in"/><arg type="a(sa{sv})" direction="in"/></method>
        <method name="CancelAuthentication"><arg type="s" direction="in"/></method></interface></node>)xml";

    void hear(BusCall call) {
        if (call.member == "CancelAuthentication") {
            cancelled += 1;
            call.answer();
            open_.clear();
            return;
        }
        const char *action = nullptr, *message = nullptr, *cookie = nullptr;
        g_variant_get(call.arguments, "(&s&ss@a{ss}&s@a(sa{sv}))", &action, &message, nullptr, nullptr,
                      &cookie, nullptr);
        shown.push_back(std::string(action) + ": " + message);
        if (password_.empty()) {
            open_.push_back(std::move(call));
            return;
        }
        // polkit answers the helper from a process of its own, so this one may wait.
        const auto helper = GPtr<GSubprocess>::take(g_subprocess_new(
            static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_SILENCE),
            nullptr, "/usr/lib/polkit-1/polkit-agent-helper-1", "ada", nullptr));
        const auto typed = cookie + ("\n" + password_ + "\n");
        ASSERT_TRUE(
            g_subprocess_communicate_utf8(helper.get(), typed.c_str(), nullptr, nullptr, nullptr, nullptr));
        call.answer();
    }

    std::string password_;
    std::vector<BusCall> open_;
    BusObject object_{connectToSystemBus(), "", description, [this](BusCall call) { hear(std::move(call)); }};
};

class PolkitOwnerAuthenticationTest : public testing::Test {
protected:
    SystemBus bus;
    PolkitOwnerAuthentication owner{bus, 2s};

    static void SetUpTestSuite() { polkitProcess(); }
    /// Waits until polkit is on the bus.
    static pid_t polkitProcess() {
        const auto asking = connectToSystemBus();
        MainLoop::poll([&] { return BusObject::processOf(polkit, asking.get()) != 0; });
        return BusObject::processOf(polkit, asking.get());
    }
    bool prove() { return MainLoop::finish(owner.authenticate("unlock brisko")); }
    Kind kind() { return MainLoop::finish(owner.kind()); }
};

} // namespace

TEST_F(PolkitOwnerAuthenticationTest, believesNobodyButTheOwnerWithTheirOwnPassword) {
    // Without an agent nobody can be asked; each question looks again.
    EXPECT_EQ(kind(), Kind::password);
    EXPECT_FALSE(prove());
    EXPECT_EQ(kind(), Kind::none);
    // Nothing is retained: whoever comes next is asked again.
    for (const std::string password : {"analytical engine", "difference engine"}) {
        const Agent agent(password);
        EXPECT_EQ(prove(), password == "analytical engine");
        EXPECT_EQ(agent.shown,
                  std::vector<std::string>{"app.brisko.Brisko.unlock: Authentication is required to unlock "
                                           "brisko or to switch its lock on"});
        EXPECT_EQ(kind(), Kind::password);
    }
}

TEST_F(PolkitOwnerAuthenticationTest, waitsForNoPolkitThatHasStoppedOrDiedAndTakesItsQuestionsBackAtTheEnd) {
    for (const auto signal : {SIGSTOP, SIGKILL, 0}) {
        const auto daemon = polkitProcess();
        const Agent agent("");
        const auto answer = begin(owner.authenticate("unlock brisko"));
        MainLoop::runUntil([&] { return agent.shown.size() == 1; });
        EXPECT_FALSE(answer->ended());
        if (signal == 0)
            owner.cancelAll();
        EXPECT_EQ(answer->ended(), signal == 0);
        kill(daemon, signal);
        EXPECT_FALSE(MainLoop::finish(answer));
        kill(daemon, SIGCONT);
        // One that goes on takes the question off the screen.
        if (signal != SIGKILL)
            MainLoop::runUntil([&] { return agent.cancelled == 1; });
    }
    const Agent agent("analytical engine");
    EXPECT_FALSE(prove());
    EXPECT_TRUE(agent.shown.empty());
}
