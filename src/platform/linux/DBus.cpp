#include "platform/linux/DBus.h"

#include "platform/linux/GAsync.h"

#include <limits>
#include <utility>

Task<DBus::Reply> DBus::call(GPtr<GDBusConnection> bus, Method method, GVariantPtr parameters,
                             std::optional<std::chrono::milliseconds> patience,
                             GPtr<GCancellable> cancellable) {
    const auto timeout = patience ? static_cast<int>(patience->count()) : std::numeric_limits<int>::max();
    GAsync calling;
    g_dbus_connection_call_with_unix_fd_list(bus.get(), method.destination, method.path, method.interface,
                                             method.name, parameters.get(), nullptr, method.flags, timeout,
                                             nullptr, cancellable.get(), GAsync::ready, &calling);
    const auto result = co_await calling;
    GUnixFDList* files = nullptr;
    GError* error = nullptr;
    Reply reply;
    reply.value.reset(
        g_dbus_connection_call_with_unix_fd_list_finish(bus.get(), &files, result.get(), &error));
    reply.files = GPtr<GUnixFDList>::take(files);
    reply.error.reset(error);
    co_return reply;
}

DBus::Signal::Signal(GPtr<GDBusConnection> bus, const Match& match, Heard heard) : bus_(std::move(bus)) {
    const auto tell = +[](GDBusConnection*, const char*, const char* path, const char*, const char*,
                          GVariant* arguments, gpointer data) {
        // What is told may end the subscription.
        const auto call = *static_cast<Heard*>(data);
        call(path, arguments);
    };
    const auto forget = +[](gpointer data) { std::default_delete<Heard>()(static_cast<Heard*>(data)); };
    auto kept = std::make_unique<Heard>(std::move(heard));
    subscription_ = g_dbus_connection_signal_subscribe(
        bus_.get(), match.sender, match.interface, match.member, match.path, nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE, tell, kept.release(), forget);
}

DBus::Signal::~Signal() {
    g_dbus_connection_signal_unsubscribe(bus_.get(), subscription_);
}
