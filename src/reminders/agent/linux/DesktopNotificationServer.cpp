#include "reminders/agent/linux/DesktopNotificationServer.h"

#include "platform/linux/GAsync.h"
#include "platform/linux/Profile.h"

#include <limits>
#include <utility>

namespace {

constexpr auto interface = "org.freedesktop.Notifications";
constexpr auto programName = "brisko";
constexpr auto defaultAction = "default"; // what a click on the notification itself stands for
constexpr auto defaultActionLabel = "Open";
constexpr auto soundName = "message-new-instant"; // freedesktop.org Sound Naming Specification
/// A server that is held up shows what it has been sent when it goes on, and one that ends is noticed.
constexpr int noTimeout = std::numeric_limits<int>::max();
constexpr gint32 untilTheServerDecides = -1;

enum class LineBreaks { kept, blanks };

/// The text without what no server shows and some of them refuse.
std::string printable(const std::string& text, LineBreaks lineBreaks) {
    std::string result;
    for (const char byte : text) {
        const auto isControl = static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F;
        if (!isControl || (lineBreaks == LineBreaks::kept && byte == '\n'))
            result += byte;
        else if (byte == '\n' || byte == '\t')
            result += ' ';
    }
    return result;
}

bool isNobody(const GError& error) {
    return g_error_matches(&error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
           g_error_matches(&error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER);
}

} // namespace

DesktopNotificationServer::DesktopNotificationServer(GPtr<GDBusConnection> bus) : bus_(std::move(bus)) {
    watch_ = g_bus_watch_name_on_connection(bus_.get(), busName, G_BUS_NAME_WATCHER_FLAGS_NONE, appeared,
                                            vanished, this, nullptr);
}

DesktopNotificationServer::~DesktopNotificationServer() {
    DesktopNotificationServer::listen(Listening::off);
    g_bus_unwatch_name(watch_);
}

std::string DesktopNotificationServer::name() const {
    return owner_.empty() ? std::string() : g_dbus_connection_get_guid(bus_.get()) + (" " + owner_);
}

Task<bool> DesktopNotificationServer::prepare() {
    if (isPrepared_)
        co_return true;
    // As a message, because its answer tells who has sent it: the one whose capabilities these are.
    const auto message = GPtr<GDBusMessage>::take(
        g_dbus_message_new_method_call(busName, objectPath, interface, "GetCapabilities"));
    GAsync asking;
    g_dbus_connection_send_message_with_reply(bus_.get(), message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                              noTimeout, nullptr, nullptr, GAsync::ready, &asking);
    const auto result = co_await asking;
    const auto reply = GPtr<GDBusMessage>::take(
        g_dbus_connection_send_message_with_reply_finish(bus_.get(), result.get(), nullptr));
    auto* body = reply ? g_dbus_message_get_body(reply.get()) : nullptr;
    if (!body || !g_variant_is_of_type(body, G_VARIANT_TYPE("(as)")))
        co_return false;
    setOwner(g_dbus_message_get_sender(reply.get()));
    const char** names = nullptr;
    g_variant_get(body, "(^a&s)", &names);
    for (const auto* const* name = names; *name; ++name)
        capabilities_.insert(*name);
    g_free(names);
    isPrepared_ = true;
    co_return true;
}

Task<NotificationServer::Sent> DesktopNotificationServer::show(NotificationRequest request,
                                                               std::optional<std::uint32_t> replaced) {
    listen(Listening::on);
    GAsync showing;
    g_dbus_connection_call(bus_.get(), owner_.c_str(), objectPath, interface, "Notify",
                           parametersOf(request, replaced.value_or(0)), G_VARIANT_TYPE("(u)"),
                           G_DBUS_CALL_FLAGS_NO_AUTO_START, noTimeout, nullptr, GAsync::ready, &showing);
    const auto result = co_await showing;
    GError* error = nullptr;
    const GVariantPtr reply(g_dbus_connection_call_finish(bus_.get(), result.get(), &error));
    const GErrorPtr failure(error);
    if (failure)
        co_return Sent(isNobody(*failure) ? Outcome::notSent : Outcome::unknown);
    std::uint32_t id = 0;
    g_variant_get(reply.get(), "(u)", &id);
    co_return Sent(Outcome::shown, id);
}

void DesktopNotificationServer::close(std::uint32_t id) {
    g_dbus_connection_call(bus_.get(), owner_.c_str(), objectPath, interface, "CloseNotification",
                           g_variant_new("(u)", id), nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr,
                           nullptr, nullptr);
}

void DesktopNotificationServer::listen(Listening listening) {
    const auto wanted = listening == Listening::on && !owner_.empty();
    if (wanted == (subscription_ != 0))
        return;
    if (wanted)
        subscription_ =
            g_dbus_connection_signal_subscribe(bus_.get(), owner_.c_str(), interface, nullptr, objectPath,
                                               nullptr, G_DBUS_SIGNAL_FLAGS_NONE, heard, this, nullptr);
    else
        g_dbus_connection_signal_unsubscribe(bus_.get(), std::exchange(subscription_, 0));
}

void DesktopNotificationServer::appeared(GDBusConnection*, const char*, const char* owner, gpointer self) {
    auto& server = *static_cast<DesktopNotificationServer*>(self);
    server.setOwner(owner);
    if (server.onAppeared)
        server.onAppeared();
}

void DesktopNotificationServer::vanished(GDBusConnection*, const char*, gpointer self) {
    auto& server = *static_cast<DesktopNotificationServer*>(self);
    server.setOwner("");
    if (server.onVanished)
        server.onVanished();
}

void DesktopNotificationServer::setOwner(const std::string& owner) {
    if (owner == owner_)
        return;
    listen(Listening::off);
    owner_ = owner;
    isPrepared_ = false;
    capabilities_.clear();
}

void DesktopNotificationServer::heard(GDBusConnection*, const char*, const char*, const char*,
                                      const char* signal, GVariant* parameters, gpointer self) {
    static_cast<DesktopNotificationServer*>(self)->hear(signal, parameters);
}

void DesktopNotificationServer::hear(const std::string& signal, GVariant* parameters) {
    std::uint32_t id = 0;
    const char* text = nullptr;
    if (signal == "NotificationClosed" && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(uu)"))) {
        g_variant_get(parameters, "(uu)", &id, nullptr);
        if (onClosed)
            onClosed(id);
        return;
    }
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(us)")))
        return;
    g_variant_get(parameters, "(u&s)", &id, &text);
    if (signal == "ActivationToken") {
        tokenOf_ = id;
        token_ = text;
    } else if (signal == "ActionInvoked" && text == std::string(defaultAction) && onOpened) {
        onOpened(id, tokenOf_ == id ? std::exchange(token_, std::string()) : std::string());
    }
}

GVariant* DesktopNotificationServer::parametersOf(const NotificationRequest& request,
                                                  std::uint32_t replaced) const {
    auto body = printable(request.body.value_or(""), LineBreaks::kept);
    if (can("body-markup"))
        body = GText(g_markup_escape_text(body.c_str(), -1)).get();
    GVariantBuilder actions;
    g_variant_builder_init(&actions, G_VARIANT_TYPE("as"));
    if (can("actions"))
        for (const auto* text : {defaultAction, defaultActionLabel})
            g_variant_builder_add(&actions, "s", text);
    GVariantBuilder hints;
    g_variant_builder_init(&hints, G_VARIANT_TYPE("a{sv}"));
    g_variant_builder_add(&hints, "{sv}", "desktop-entry", g_variant_new_string(Profile::userApplicationId));
    g_variant_builder_add(&hints, "{sv}", "sound-name", g_variant_new_string(soundName));
    return g_variant_new("(susssasa{sv}i)", programName, replaced, Profile::userApplicationId,
                         printable(request.title, LineBreaks::blanks).c_str(), body.c_str(), &actions, &hints,
                         untilTheServerDecides);
}
