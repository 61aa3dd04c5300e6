#pragma once

#include "platform/linux/GPtr.h"

#include <gio/gio.h>
#include <gio/gunixfdlist.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

/// A method that was called on a hand-made service.
///
/// It may be kept and answered later. One that goes without an answer is never answered: a program that
/// hangs.
class BusCall {
public:
    explicit BusCall(GDBusMethodInvocation* call)
        : path(g_dbus_method_invocation_get_object_path(call)),
          member(g_dbus_method_invocation_get_method_name(call)),
          arguments(g_dbus_method_invocation_get_parameters(call)),
          call_(GPtr<GDBusMethodInvocation>::take(call)) {}

    std::string path;
    std::string member;
    GVariant* arguments; ///< as long as the call is there

    /// With the tuple of the results, and the files that their handles stand for.
    void answer(GVariant* results = nullptr, GUnixFDList* files = nullptr) {
        g_dbus_method_invocation_return_value_with_unix_fd_list(call_.release(), results, files);
    }

private:
    GPtr<GDBusMethodInvocation> call_;
};

/// A program on a bus, made by hand: it says and answers what the test wants. At its end it leaves the bus as
/// in a crash, without a word.
class BusObject {
public:
    using Handler = std::function<void(BusCall)>;

    /// A connection of its own to the bus at the address.
    static GPtr<GDBusConnection> connectTo(const char* address) {
        constexpr auto flags = static_cast<GDBusConnectionFlags>(
            G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
        GError* error = nullptr;
        auto* bus = g_dbus_connection_new_for_address_sync(address, flags, nullptr, nullptr, &error);
        g_assert_no_error(error);
        return GPtr<GDBusConnection>::take(bus);
    }
    /// What the bus itself answers; null where it refuses.
    static GVariantPtr ask(GDBusConnection* bus, const char* method, GVariant* arguments = nullptr) {
        return GVariantPtr(g_dbus_connection_call_sync(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                       "org.freedesktop.DBus", method, arguments, nullptr,
                                                       G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    }
    /// The process that has the name on the bus; 0 for none.
    static pid_t processOf(const std::string& name, GDBusConnection* bus) {
        const auto found = ask(bus, "GetConnectionUnixProcessID", g_variant_new("(s)", name.c_str()));
        guint32 process = 0;
        if (found)
            g_variant_get(found.get(), "(u)", &process);
        return static_cast<pid_t>(process);
    }

    /// `description` is a node whose name is the object's path, or a node without a name around several such
    /// nodes. `bus` is this object's alone. An empty `name` asks the bus for none. Once this returns, the
    /// bus knows the name.
    BusObject(GPtr<GDBusConnection> bus, const std::string& name, const std::string& description,
              Handler handler)
        : bus_(std::move(bus)), handler_(std::move(handler)) {
        GError* error = nullptr;
        auto* node = g_dbus_node_info_new_for_xml(description.c_str(), &error);
        g_assert_no_error(error);
        serve(node);
        for (auto** child = node->nodes; child && *child; ++child)
            serve(*child);
        g_dbus_node_info_unref(node);
        if (!name.empty())
            own(name);
    }
    BusObject(const BusObject&) = delete;
    BusObject& operator=(const BusObject&) = delete;
    ~BusObject() {
        for (const auto object : objects_)
            g_dbus_connection_unregister_object(bus_.get(), object);
        g_dbus_connection_close_sync(bus_.get(), nullptr, nullptr);
    }

    /// Takes one name more.
    void own(const std::string& name) const {
        g_assert_true(ask(bus(), "RequestName", g_variant_new("(su)", name.c_str(), 0)) != nullptr);
    }
    void emit(const char* path, const char* interface, const char* signal, GVariant* arguments = {}) const {
        g_dbus_connection_emit_signal(bus(), nullptr, path, interface, signal, arguments, nullptr);
    }
    GDBusConnection* bus() const { return bus_.get(); }

private:
    static void called(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
                       GDBusMethodInvocation* call, gpointer self) {
        static_cast<BusObject*>(self)->handler_(BusCall(call));
    }
    void serve(GDBusNodeInfo* node) {
        static constexpr GDBusInterfaceVTable methods = {called, nullptr, nullptr, {}};
        for (auto** interface = node->interfaces; interface && *interface; ++interface)
            objects_.push_back(g_dbus_connection_register_object(bus(), node->path, *interface, &methods,
                                                                 this, nullptr, nullptr));
    }

    GPtr<GDBusConnection> bus_;
    Handler handler_;
    std::vector<guint> objects_;
};
