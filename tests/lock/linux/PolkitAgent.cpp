#include "lock/linux/PolkitAgent.h"

#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace {

constexpr auto helper = "/usr/lib/polkit-1/polkit-agent-helper-1";
constexpr auto path = "/app/brisko/test/Agent";
constexpr auto description = R"xml(
<node>
  <interface name="org.freedesktop.PolicyKit1.AuthenticationAgent">
    <method name="BeginAuthentication">
      <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
      <arg type="a{ss}" direction="in"/><arg type="s" direction="in"/><arg type="a(sa{sv})" direction="in"/>
    </method>
    <method name="CancelAuthentication"><arg type="s" direction="in"/></method>
  </interface>
</node>)xml";

void check(GError* error) {
    if (error)
        throw std::runtime_error(GErrorPtr(error)->message);
}

/// polkit looks the start of the process up by itself when it is given as 0.
GVariant* thisProcess() {
    GVariantBuilder subject;
    g_variant_builder_init(&subject, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&subject, "{sv}", "pid", g_variant_new_uint32(static_cast<guint32>(getpid())));
    g_variant_builder_add(&subject, "{sv}", "start-time", g_variant_new_uint64(0));
    return g_variant_new("(sa{sv})", "unix-process", &subject);
}

void tryPassword(const std::string& cookie, const std::string& password) {
    GError* error = nullptr;
    const auto process = GPtr<GSubprocess>::take(g_subprocess_new(
        static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_SILENCE),
        &error, helper, "ada", nullptr));
    check(error);
    // polkit answers the helper from a process of its own, so this one may wait.
    g_subprocess_communicate_utf8(process.get(), (cookie + "\n" + password + "\n").c_str(), nullptr, nullptr,
                                  nullptr, &error);
    check(error);
}

} // namespace

PolkitAgent::PolkitAgent(Person person) : person_(person) {
    GError* error = nullptr;
    const GText address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    bus_ = GPtr<GDBusConnection>::take(g_dbus_connection_new_for_address_sync(
        address.get(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    check(error);
    auto* const interfaces = g_dbus_node_info_new_for_xml(description, &error);
    check(error);
    const GDBusInterfaceVTable methods = {called, nullptr, nullptr, {}};
    object_ = g_dbus_connection_register_object(bus_.get(), path, interfaces->interfaces[0], &methods, this,
                                                nullptr, &error);
    g_dbus_node_info_unref(interfaces);
    check(error);
    const GVariantPtr registered(g_dbus_connection_call_sync(
        bus_.get(), "org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
        "org.freedesktop.PolicyKit1.Authority", "RegisterAuthenticationAgent",
        g_variant_new("(@(sa{sv})ss)", thisProcess(), "C", path), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
        nullptr, &error));
    check(error);
}

PolkitAgent::~PolkitAgent() {
    g_dbus_connection_unregister_object(bus_.get(), object_);
    // polkit forgets an agent that has left the bus.
    g_dbus_connection_close_sync(bus_.get(), nullptr, nullptr);
}

void PolkitAgent::called(GDBusConnection*, const char*, const char*, const char*, const char* method,
                         GVariant* arguments, GDBusMethodInvocation* call, gpointer self) {
    auto& agent = *static_cast<PolkitAgent*>(self);
    if (std::string(method) == "BeginAuthentication") {
        agent.begin(arguments, call);
        return;
    }
    agent.cancelled += 1;
    g_dbus_method_invocation_return_value(call, nullptr);
    if (auto waiting = std::exchange(agent.waiting_, {}))
        g_dbus_method_invocation_return_value(waiting.release(), nullptr);
}

void PolkitAgent::begin(GVariant* arguments, GDBusMethodInvocation* call) {
    const char *action = nullptr, *message = nullptr, *cookie = nullptr;
    g_variant_get(arguments, "(&s&ss@a{ss}&s@a(sa{sv}))", &action, &message, nullptr, nullptr, &cookie,
                  nullptr);
    actions.emplace_back(action);
    messages.emplace_back(message);
    if (person_ == Person::thinks) {
        waiting_ = GPtr<GDBusMethodInvocation>::take(call);
        return;
    }
    if (person_ == Person::dismisses) {
        g_dbus_method_invocation_return_dbus_error(call, "org.freedesktop.PolicyKit1.Error.Cancelled", "no");
        return;
    }
    tryPassword(cookie, person_ == Person::knowsPassword ? "analytical engine" : "difference engine");
    g_dbus_method_invocation_return_value(call, nullptr);
}
