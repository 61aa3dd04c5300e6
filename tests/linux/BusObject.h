#pragma once

#include "platform/linux/GPtr.h"

#include <gio/gio.h>
#include <gio/gunixfdlist.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// A question that a hand-made service has been asked: a method that was called, or a property that was read.
///
/// It may be kept and answered later. One that goes without an answer is never answered: a program that
/// hangs.
class BusCall {
public:
    explicit BusCall(GDBusMethodInvocation* call)
        : path(g_dbus_method_invocation_get_object_path(call)),
          member(g_dbus_method_invocation_get_method_name(call)),
          arguments(g_dbus_method_invocation_get_parameters(call)),
          call_(GPtr<GDBusMethodInvocation>::take(call)) {
        readsProperty_ = g_dbus_method_invocation_get_property_info(call) != nullptr;
        if (readsProperty_)
            member = g_dbus_method_invocation_get_property_info(call)->name;
    }

    std::string path;
    std::string member;  ///< of the method or of the property
    GVariant* arguments; ///< as long as the call is there

    /// With the tuple of the method's results, or with the property's value.
    void answer(GVariant* result = nullptr) {
        g_dbus_method_invocation_return_value(call_.release(),
                                              readsProperty_ ? g_variant_new("(v)", result) : result);
    }
    /// With a file, which stays the caller's.
    void answerWithFile(int descriptor) {
        const auto files = GPtr<GUnixFDList>::take(g_unix_fd_list_new());
        g_unix_fd_list_append(files.get(), descriptor, nullptr);
        g_dbus_method_invocation_return_value_with_unix_fd_list(call_.release(), g_variant_new("(h)", 0),
                                                                files.get());
    }
    void refuse(const char* error) {
        g_dbus_method_invocation_return_dbus_error(call_.release(), error, "refused by the test");
    }

private:
    GPtr<GDBusMethodInvocation> call_;
    bool readsProperty_;
};

/// A program on a bus, made by hand: it says and answers what the test wants. At its end it leaves the bus as
/// in a crash, without a word.
class BusObject {
public:
    using Handler = std::function<void(BusCall)>;

    /// A connection of its own to the bus at the address. Throws std::runtime_error when there is none.
    static GPtr<GDBusConnection> connectTo(const std::string& address) {
        GError* error = nullptr;
        auto bus = GPtr<GDBusConnection>::take(g_dbus_connection_new_for_address_sync(
            address.c_str(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &error));
        check(error);
        return bus;
    }
    /// `description` is a node whose name is the object's path, or a node without a name around several such
    /// nodes. `bus` is this object's alone. An empty `name` asks the bus for none. Once this returns, the
    /// bus knows the name.
    BusObject(GPtr<GDBusConnection> bus, const std::string& name, const std::string& description,
              Handler handler)
        : bus_(std::move(bus)), handler_(std::move(handler)) {
        GError* error = nullptr;
        const std::unique_ptr<GDBusNodeInfo, void (*)(GDBusNodeInfo*)> node(
            g_dbus_node_info_new_for_xml(description.c_str(), &error), g_dbus_node_info_unref);
        check(error);
        serve(node.get());
        for (auto** child = node->nodes; child && *child; ++child)
            serve(*child);
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
        GError* error = nullptr;
        const GVariantPtr owned(g_dbus_connection_call_sync(
            bus_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "RequestName", g_variant_new("(su)", name.c_str(), 0), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
            nullptr, &error));
        check(error);
    }
    void emit(const std::string& path, const char* interface, const char* signal,
              GVariant* arguments = nullptr) const {
        g_dbus_connection_emit_signal(bus_.get(), nullptr, path.c_str(), interface, signal, arguments,
                                      nullptr);
    }
    GDBusConnection* bus() const { return bus_.get(); }

private:
    static void check(GError* error) {
        if (error)
            throw std::runtime_error(GErrorPtr(error)->message);
    }
    static void called(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
                       GDBusMethodInvocation* call, gpointer self) {
        static_cast<BusObject*>(self)->handler_(BusCall(call));
    }
    void serve(GDBusNodeInfo* node) {
        // Without a function for properties, reading one is a call too.
        static constexpr GDBusInterfaceVTable methods = {called, nullptr, nullptr, {}};
        for (auto** interface = node->interfaces; interface && *interface; ++interface) {
            GError* error = nullptr;
            objects_.push_back(g_dbus_connection_register_object(bus_.get(), node->path, *interface, &methods,
                                                                 this, nullptr, &error));
            check(error);
        }
    }

    GPtr<GDBusConnection> bus_;
    Handler handler_;
    std::vector<guint> objects_;
};
