#include "reminders/linux/AgentNotificationCenter.h"

#include "platform/Counted.h"
#include "platform/Error.h"
#include "platform/linux/DBus.h"
#include "platform/linux/DurableFile.h"
#include "platform/linux/GAsync.h"
#include "reminders/agent/PendingList.h"

#include <gio/gunixfdlist.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace {

constexpr auto notificationService = "org.freedesktop.Notifications";
constexpr int callsBeforeGivingUp = 3; // none there, then one that ends, then one that stays

/// A file in memory alone, for the other end of the bus; null when there is no memory.
GPtr<GUnixFDList> fileOf(const std::string& text) {
    auto descriptor = ::memfd_create("reminders", MFD_CLOEXEC);
    std::size_t written = 0;
    while (descriptor >= 0 && written < text.size()) {
        const auto count = ::write(descriptor, text.data() + written, text.size() - written);
        if (count < 0 && errno != EINTR)
            ::close(std::exchange(descriptor, -1));
        written += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    return descriptor < 0 ? GPtr<GUnixFDList>()
                          : GPtr<GUnixFDList>::take(g_unix_fd_list_new_from_array(&descriptor, 1));
}

GVariant* replacementOf(const std::string& prefix, const std::vector<std::string>& command) {
    std::vector<const char*> words;
    words.reserve(command.size() + 1);
    for (const auto& word : command)
        words.push_back(word.c_str());
    words.push_back(nullptr);
    constexpr gint32 onlyFile = 0;
    return g_variant_new("(sh^as)", prefix.c_str(), onlyFile, words.data());
}

/// Nobody is there, and the bus does not start anybody or has tried in vain, itself or by systemd.
bool isNobody(const GError& error) {
    if (g_error_matches(&error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
        g_error_matches(&error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER))
        return true;
    const GText name(g_dbus_error_is_remote_error(&error) ? g_dbus_error_get_remote_error(&error) : nullptr);
    return name && (g_str_has_prefix(name.get(), "org.freedesktop.DBus.Error.Spawn.") ||
                    g_str_has_prefix(name.get(), "org.freedesktop.systemd1."));
}

bool is(const GVariantPtr& reply, const char* type) {
    return reply && g_variant_is_of_type(reply.get(), G_VARIANT_TYPE(type));
}

/// Who was asked has ended without an answer.
bool isDeath(const GError& error) {
    return g_error_matches(&error, G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY);
}

bool contains(GVariant* listOfNames, const std::string& name) {
    const char** names = nullptr;
    g_variant_get(listOfNames, "(^a&s)", &names);
    const auto found = g_strv_contains(names, name.c_str());
    g_free(names);
    return found;
}

} // namespace

AgentNotificationCenter::AgentNotificationCenter(GPtr<GDBusConnection> bus, Options options,
                                                 NotificationQuestion& question)
    : bus_(std::move(bus)),
      options_(std::move(options)),
      question_(question),
      permission_(options_.place.permissionFile()),
      ending_(GPtr<GCancellable>::take(g_cancellable_new())) {
    if (bus_)
        agent_ = std::make_unique<AgentProcess>(bus_, options_.place, options_.agent, options_.patience);
}

AgentNotificationCenter::~AgentNotificationCenter() {
    cancelAll();
}

void AgentNotificationCenter::cancelAll() {
    g_cancellable_cancel(ending_.get());
    if (agent_)
        agent_->end();
    while (open_ > 0)
        g_main_context_iteration(nullptr, TRUE);
}

void AgentNotificationCenter::listen(GActionMap* application) {
    const auto action = GPtr<GSimpleAction>::take(g_simple_action_new(ReminderPlace::openedAction, nullptr));
    const auto activated = +[](GSimpleAction*, GVariant*, gpointer self) {
        if (const auto& respond = static_cast<AgentNotificationCenter*>(self)->onResponse)
            respond();
    };
    opened_ = SignalConnection(action.get(),
                               g_signal_connect(action.get(), "activate", G_CALLBACK(activated), this));
    g_action_map_add_action(application, G_ACTION(action.get()));
}

Task<NotificationPermission> AgentNotificationCenter::permission() {
    const auto isShown = co_await isShownAnywhere();
    co_return isShown ? permission_.read() : NotificationPermission::denied;
}

Task<NotificationPermission> AgentNotificationCenter::requestPermission() {
    const auto known = co_await permission();
    if (known != NotificationPermission::notDetermined)
        co_return known;
    co_return co_await reconsiderPermission();
}

Task<NotificationPermission> AgentNotificationCenter::reconsiderPermission() {
    const auto answer = co_await question_.ask(permission_.read());
    if (answer == NotificationQuestion::Answer::dismissed)
        co_return co_await permission();
    try {
        DurableFile::makePrivateFolder(options_.place.folder);
        permission_.write(answer == NotificationQuestion::Answer::allow ? NotificationPermission::authorized
                                                                        : NotificationPermission::denied);
    } catch (const Error&) {
        // An answer that cannot be kept is none.
    }
    co_return co_await permission();
}

Task<std::vector<std::string>> AgentNotificationCenter::pendingIdentifiers() {
    std::vector<std::string> identifiers;
    const Counted counted(open_);
    const auto late = lateAnswers_;
    const auto turn = co_await turns_.next();
    if (late != lateAnswers_ || !isAnythingStored())
        co_return identifiers;
    const auto reply = co_await callAgent("Pending", DBus::own(g_variant_new("()")), GPtr<GUnixFDList>());
    if (!is(reply, "(as)"))
        co_return identifiers;
    const char** names = nullptr;
    g_variant_get(reply.get(), "(^a&s)", &names);
    for (const auto* const* name = names; *name; ++name)
        identifiers.emplace_back(*name);
    g_free(names);
    co_return identifiers;
}

Task<NotificationCenter::Replaced>
AgentNotificationCenter::replace(std::string prefix, std::vector<NotificationRequest> requests) {
    Replaced replaced;
    const Counted counted(open_);
    const auto late = lateAnswers_;
    const auto turn = co_await turns_.next();
    // No agent is started to replace nothing by nothing.
    if (late != lateAnswers_ || (requests.empty() && !isAnythingStored()))
        co_return replaced;
    const auto files = fileOf(RequestText::encode(requests));
    if (!files)
        co_return replaced;
    const auto reply =
        co_await callAgent("Replace", DBus::own(replacementOf(prefix, options_.command)), files);
    guint32 removed = 0;
    guint32 added = 0;
    if (is(reply, "(uu)"))
        g_variant_get(reply.get(), "(uu)", &removed, &added);
    replaced.removed = removed;
    replaced.added = added;
    co_return replaced;
}

bool AgentNotificationCenter::isAnythingStored() const {
    std::error_code failure;
    return std::filesystem::exists(options_.place.pendingFile(), failure);
}

Task<bool> AgentNotificationCenter::isShownAnywhere() {
    const auto running =
        co_await askBus("NameHasOwner", DBus::own(g_variant_new("(s)", notificationService)));
    gboolean isRunning = FALSE;
    if (is(running, "(b)"))
        g_variant_get(running.get(), "(b)", &isRunning);
    if (isRunning || !running)
        co_return isRunning != FALSE;
    const auto names = co_await askBus("ListActivatableNames", DBus::own(g_variant_new("()")));
    co_return is(names, "(as)") && contains(names.get(), notificationService);
}

Task<GVariantPtr> AgentNotificationCenter::askBus(const char* method, GVariantPtr parameters) {
    if (!bus_)
        co_return GVariantPtr();
    const Counted counted(open_);
    const DBus::Method question = {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                   method};
    auto reply = co_await DBus::call(bus_, question, std::move(parameters), options_.patience, ending_);
    co_return std::move(reply.value);
}

Task<GVariantPtr> AgentNotificationCenter::callAgent(const char* method, GVariantPtr parameters,
                                                     GPtr<GUnixFDList> files) {
    if (!bus_)
        co_return GVariantPtr();
    const auto name = options_.place.busName();
    for (int count = 0; count < callsBeforeGivingUp; ++count) {
        GAsync calling;
        g_dbus_connection_call_with_unix_fd_list(
            bus_.get(), name.c_str(), ReminderPlace::objectPath, ReminderPlace::interfaceName, method,
            parameters.get(), nullptr, G_DBUS_CALL_FLAGS_NONE, static_cast<int>(options_.patience.count()),
            files.get(), ending_.get(), GAsync::ready, &calling);
        const auto result = co_await calling;
        GError* error = nullptr;
        GVariantPtr reply(
            g_dbus_connection_call_with_unix_fd_list_finish(bus_.get(), nullptr, result.get(), &error));
        const GErrorPtr failure(error);
        if (reply)
            co_return reply;
        if (isNobody(*failure)) {
            const auto isThere = co_await agent_->start();
            if (!isThere)
                break;
        } else if (!isDeath(*failure)) {
            lateAnswers_ += g_error_matches(failure.get(), G_IO_ERROR, G_IO_ERROR_TIMED_OUT) ? 1 : 0;
            break;
        }
    }
    co_return GVariantPtr();
}
