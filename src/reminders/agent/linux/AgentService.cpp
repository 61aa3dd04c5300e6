#include "reminders/agent/linux/AgentService.h"

#include "platform/linux/GAsync.h"

#include <gio/gunixfdlist.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <utility>

namespace {

constexpr auto introspection = R"(
<node>
  <interface name="app.brisko.Reminders1">
    <method name="Replace">
      <arg type="s" name="prefix" direction="in"/>
      <arg type="h" name="requests" direction="in"/>
      <arg type="as" name="command" direction="in"/>
      <arg type="u" name="removed" direction="out"/>
      <arg type="u" name="added" direction="out"/>
    </method>
    <method name="Pending">
      <arg type="as" name="identifiers" direction="out"/>
    </method>
  </interface>
</node>)";

/// What the file holds; none when it is not a file, or too large to be a list. The descriptor is closed. It
/// is copied before anybody reads it, because the other end may go on writing.
std::optional<std::string> readFile(int descriptor) {
    struct stat status = {};
    std::optional<std::string> text;
    if (descriptor >= 0 && ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
        std::cmp_less_equal(status.st_size, RequestText::sizeLimit)) {
        text.emplace();
        std::array<char, 65'536> part = {};
        ssize_t count = 0;
        // No further than it reaches now.
        while (std::cmp_less(text->size(), status.st_size) &&
               (count = ::pread(descriptor, part.data(), part.size(), static_cast<off_t>(text->size()))) > 0)
            text->append(part.data(), static_cast<std::size_t>(count));
    }
    if (descriptor >= 0)
        ::close(descriptor);
    return text;
}

/// Whether the words start the program that this agent belongs to, the one beside it or the installed one,
/// with options that it is started with. Any program on the bus may say what a click is to start.
bool startsProgram(const std::vector<std::string>& command) {
    namespace fs = std::filesystem;
    std::error_code failure;
    const auto own = fs::read_symlink("/proc/self/exe", failure).parent_path();
    const auto is = [&](const fs::path& folder) {
        return !command.empty() && fs::equivalent(command.front(), folder / "brisko", failure);
    };
    auto isKnown = is(own) || is(BRISKO_BINDIR);
    for (std::size_t index = 1; index < command.size(); ++index) {
        const auto& word = command[index];
        const auto takesValue = word == "--service-origin" || word == "--service-ca" || word == "--profile";
        isKnown = isKnown && (word == "--demo" || (takesValue && index + 1 < command.size()));
        index += takesValue ? 1 : 0;
    }
    return isKnown;
}

} // namespace

AgentService::AgentService(GPtr<GDBusConnection> bus, const ReminderPlace& place, ReminderAgent& agent,
                           std::chrono::seconds linger)
    : bus_(std::move(bus)),
      name_(place.busName()),
      agent_(agent),
      linger_(linger),
      loop_(g_main_loop_new(nullptr, FALSE)),
      status_(EXIT_SUCCESS) {
    g_dbus_connection_set_exit_on_close(bus_.get(), FALSE);
    const auto closed = +[](GDBusConnection*, gboolean, GError*, gpointer self) {
        static_cast<AgentService*>(self)->quit(EXIT_SUCCESS);
    };
    closing_ = SignalConnection(bus_.get(), g_signal_connect(bus_.get(), "closed", G_CALLBACK(closed), this));
    static const GDBusInterfaceVTable methods = {called, nullptr, nullptr, {}};
    auto* node = g_dbus_node_info_new_for_xml(introspection, nullptr);
    object_ = g_dbus_connection_register_object(bus_.get(), ReminderPlace::objectPath, node->interfaces[0],
                                                &methods, this, nullptr, nullptr);
    g_dbus_node_info_unref(node);
    agent_.onChange = [this] { considerLeaving(); };
}

AgentService::~AgentService() {
    agent_.onChange = nullptr;
    if (owning_ != 0)
        g_bus_unown_name(owning_);
    g_dbus_connection_unregister_object(bus_.get(), object_);
    g_main_loop_unref(loop_);
}

int AgentService::run() {
    ownName();
    agent_.start();
    if (!g_dbus_connection_is_closed(bus_.get()))
        g_main_loop_run(loop_);
    return status_;
}

void AgentService::ownName() {
    const auto lost = [](GDBusConnection*, const char*, gpointer self) {
        static_cast<AgentService*>(self)->quit(EXIT_FAILURE);
    };
    owning_ = g_bus_own_name_on_connection(bus_.get(), name_.c_str(), G_BUS_NAME_OWNER_FLAGS_DO_NOT_QUEUE,
                                           nullptr, lost, this, nullptr);
}

void AgentService::called(GDBusConnection*, const char*, const char*, const char*, const char* method,
                          GVariant* parameters, GDBusMethodInvocation* invocation, gpointer self) {
    auto& service = *static_cast<AgentService*>(self);
    try {
        if (method == std::string("Replace"))
            service.replace(parameters, invocation);
        else
            service.pending(invocation);
    } catch (const std::exception& failure) {
        g_dbus_method_invocation_return_error_literal(invocation, G_DBUS_ERROR, G_DBUS_ERROR_FAILED,
                                                      failure.what());
    }
    service.considerLeaving();
}

void AgentService::replace(GVariant* parameters, GDBusMethodInvocation* invocation) {
    const char* prefix = nullptr;
    gint32 handle = 0;
    const char** words = nullptr;
    g_variant_get(parameters, "(&sh^a&s)", &prefix, &handle, &words);
    const std::unique_ptr<const char*, GFree> owner(words);
    auto* files = g_dbus_message_get_unix_fd_list(g_dbus_method_invocation_get_message(invocation));
    const auto text = readFile(files ? g_unix_fd_list_get(files, handle, nullptr) : -1);
    auto requests = text ? RequestText::decode(*text) : std::nullopt;
    if (!requests || requests->size() > RequestText::countLimit) {
        g_dbus_method_invocation_return_error(
            invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS,
            "These are not requests, or more than %zu of them or %zu bytes.", RequestText::countLimit,
            RequestText::sizeLimit);
        return;
    }
    std::vector<std::string> command;
    for (const auto* const* word = words; *word; ++word)
        command.emplace_back(*word);
    if (!startsProgram(command))
        command.clear();
    const auto replaced = agent_.replace(prefix, std::move(*requests), std::move(command));
    g_dbus_method_invocation_return_value(
        invocation,
        g_variant_new("(uu)", static_cast<guint32>(replaced.removed), static_cast<guint32>(replaced.added)));
    // A long list leaves much behind, and the agent has nothing else to use it for.
    requests.reset();
    malloc_trim(0);
}

void AgentService::pending(GDBusMethodInvocation* invocation) {
    GVariantBuilder identifiers;
    g_variant_builder_init(&identifiers, G_VARIANT_TYPE("as"));
    for (const auto& identifier : agent_.pendingIdentifiers())
        g_variant_builder_add(&identifiers, "s", identifier.c_str());
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(as)", &identifiers));
}

void AgentService::considerLeaving() {
    if (agent_.isNeeded())
        leaving_.stop();
    else
        leaving_.start(linger_, [this] { leave(); });
}

/// Calls that are on their way when the name is given up are still answered: they have come by the time that
/// the bus answers a question put to it afterwards.
void AgentService::leave() {
    if (owning_ == 0)
        return; // the bus is being asked already
    g_bus_unown_name(std::exchange(owning_, 0));
    const auto answered = [](GObject*, GAsyncResult*, gpointer data) {
        auto& self = *static_cast<AgentService*>(data);
        if (!self.agent_.isNeeded()) {
            g_dbus_connection_flush_sync(self.bus_.get(), nullptr, nullptr);
            self.quit(EXIT_SUCCESS);
        } else {
            self.ownName();
        }
    };
    g_dbus_connection_call(bus_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
                           nullptr, answered, this);
}

void AgentService::quit(int status) {
    status_ = status;
    g_main_loop_quit(loop_);
}
