#include "lock/linux/PolkitOwnerAuthentication.h"

#include "platform/linux/DBus.h"
#include "platform/linux/OneShotTimer.h"

#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <sstream>

namespace {

constexpr auto action = "app.brisko.Brisko.unlock";
constexpr auto polkit = "org.freedesktop.PolicyKit1";
constexpr auto authorityPath = "/org/freedesktop/PolicyKit1/Authority";
constexpr auto authority = "org.freedesktop.PolicyKit1.Authority";
constexpr auto fprint = "net.reactivated.Fprint";

/// What is answered without a person.
constexpr std::chrono::seconds answerPatience{5};

enum class Interaction : std::uint32_t { none = 0, allowed = 1 };

/// What polkit says of the action. Neither is true where its rules forbid it, or where polkit says nothing.
struct Verdict {
    bool authorized = false;
    bool challenge = false; ///< somebody would have to be asked, and nobody has been
};

/// When this process started, in the kernel's ticks since it booted (proc(5), field 22 of stat): with the
/// process id it names the process beyond its end.
std::uint64_t startTime() {
    constexpr auto fieldsAfterName = 19;
    std::ifstream file("/proc/self/stat");
    std::string stat{std::istreambuf_iterator<char>(file), {}};
    std::istringstream fields(stat.substr(stat.rfind(')') + 1));
    std::string field;
    for (auto i = 0; i < fieldsAfterName; ++i)
        fields >> field;
    std::uint64_t ticks = 0;
    fields >> ticks;
    return ticks;
}

GVariantPtr checkArguments(Interaction interaction, const std::string& id) {
    GVariantBuilder subject;
    g_variant_builder_init(&subject, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&subject, "{sv}", "pid",
                          g_variant_new_uint32(static_cast<std::uint32_t>(getpid())));
    g_variant_builder_add(&subject, "{sv}", "start-time", g_variant_new_uint64(startTime()));
    g_variant_builder_add(&subject, "{sv}", "uid", g_variant_new_int32(static_cast<std::int32_t>(getuid())));
    return DBus::own(g_variant_new("((sa{sv})sa{ss}us)", "unix-process", &subject, action, nullptr,
                                   static_cast<std::uint32_t>(interaction), id.c_str()));
}

Verdict verdictOf(const DBus::Reply& reply) {
    if (!reply.value || !g_variant_is_of_type(reply.value.get(), G_VARIANT_TYPE("((bba{ss}))")))
        return {};
    gboolean authorized = FALSE;
    gboolean challenge = FALSE;
    g_variant_get(reply.value.get(), "((bb@a{ss}))", &authorized, &challenge, nullptr);
    return {authorized != FALSE, challenge != FALSE};
}

constexpr DBus::Method checkAuthorization{polkit, authorityPath, authority, "CheckAuthorization"};

/// Whether fprintd, where it is installed, knows a finger of the person.
Task<bool> fingerIsEnrolled(GPtr<GDBusConnection> bus) {
    const DBus::Method getDevice{fprint, "/net/reactivated/Fprint/Manager", "net.reactivated.Fprint.Manager",
                                 "GetDefaultDevice"};
    const auto found = co_await DBus::call(bus, getDevice, nullptr, answerPatience);
    if (!found.value || !g_variant_is_of_type(found.value.get(), G_VARIANT_TYPE("(o)")))
        co_return false;
    const char* device = nullptr;
    g_variant_get(found.value.get(), "(&o)", &device);
    const DBus::Method listFingers{fprint, device, "net.reactivated.Fprint.Device", "ListEnrolledFingers"};
    // The empty name is the caller's own.
    const auto listed =
        co_await DBus::call(bus, listFingers, DBus::own(g_variant_new("(s)", "")), answerPatience);
    if (!listed.value || !g_variant_is_of_type(listed.value.get(), G_VARIANT_TYPE("(as)")))
        co_return false;
    const GVariantPtr fingers(g_variant_get_child_value(listed.value.get(), 0));
    co_return g_variant_n_children(fingers.get()) > 0;
}

} // namespace

/// One question. It lives as long as somebody waits for its answer, which comes once.
struct PolkitOwnerAuthentication::Question : std::enable_shared_from_this<Question> {
    std::string id; ///< by which polkit knows it, unique on the connection
    std::chrono::milliseconds pulse;
    GPtr<GDBusConnection> bus; ///< once there is one
    GPtr<GCancellable> cancellable = GPtr<GCancellable>::take(g_cancellable_new());
    OneShotTimer heart;
    Completion<Verdict> answer;

    Question(std::string name, std::chrono::milliseconds beat) : id(std::move(name)), pulse(beat) {}

    static Task<> ask(std::shared_ptr<Question> self, SystemBus* system) {
        self->bus = co_await system->connection();
        if (!self->bus) {
            self->answer.resolve(Verdict());
            co_return;
        }
        if (self->answer.settled())
            co_return;
        self->beat();
        const auto reply =
            co_await DBus::call(self->bus, checkAuthorization, checkArguments(Interaction::allowed, self->id),
                                std::nullopt, self->cancellable);
        self->heart.stop();
        self->answer.resolve(verdictOf(reply));
    }

    /// A polkit that dies ends the call; one that has stopped would leave it waiting for ever, as a person
    /// does who thinks it over.
    void beat() {
        heart.start(pulse, [weak = weak_from_this()] {
            if (const auto self = weak.lock())
                spawn(listen(self));
        });
    }
    static Task<> listen(std::shared_ptr<Question> self) {
        const DBus::Method ping{polkit, authorityPath, "org.freedesktop.DBus.Peer", "Ping"};
        const auto reply = co_await DBus::call(self->bus, ping, nullptr, self->pulse, self->cancellable);
        if (self->answer.settled())
            co_return;
        if (reply.value)
            self->beat();
        else
            self->cancel();
    }

    void cancel() {
        // Who waits may go on, and let go of the question, before this returns.
        const auto self = shared_from_this();
        if (answer.settled())
            return;
        heart.stop();
        if (bus)
            g_dbus_connection_call(bus.get(), polkit, authorityPath, authority, "CancelCheckAuthorization",
                                   g_variant_new("(s)", id.c_str()), nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START,
                                   -1, nullptr, nullptr, nullptr);
        answer.resolve(Verdict());
        g_cancellable_cancel(cancellable.get());
    }
};

PolkitOwnerAuthentication::PolkitOwnerAuthentication(SystemBus& bus, std::chrono::milliseconds pulse)
    : bus_(bus), pulse_(pulse) {}

PolkitOwnerAuthentication::~PolkitOwnerAuthentication() {
    cancelAll();
}

Task<OwnerAuthentication::Kind> PolkitOwnerAuthentication::kind() {
    const auto bus = co_await bus_.connection();
    if (!bus)
        co_return Kind::none;
    const auto reply =
        co_await DBus::call(bus, checkAuthorization, checkArguments(Interaction::none, ""), answerPatience);
    const auto verdict = verdictOf(reply);
    if (!verdict.authorized && (!verdict.challenge || agentMissing_))
        co_return Kind::none;
    const auto finger = co_await fingerIsEnrolled(bus);
    co_return finger ? Kind::finger : Kind::password;
}

Task<bool> PolkitOwnerAuthentication::authenticate(std::string) {
    if (ended_)
        co_return false;
    asked_ += 1;
    const auto question = std::make_shared<Question>("question " + std::to_string(asked_), pulse_);
    std::erase_if(open_, [](const auto& entry) { return entry.expired(); });
    open_.push_back(question);
    spawn(Question::ask(question, &bus_));
    const auto verdict = co_await question->answer;
    agentMissing_ = verdict.challenge;
    co_return verdict.authorized;
}

void PolkitOwnerAuthentication::cancelAll() {
    ended_ = true;
    withdraw();
}

void PolkitOwnerAuthentication::withdraw() {
    for (const auto& entry : std::vector(open_))
        if (const auto question = entry.lock())
            question->cancel();
}
