#pragma once

#include "platform/linux/GPtr.h"

#include <gio/gio.h>

#include <string>
#include <vector>

/// The desktop's part of polkit with a person in front of it, for this process alone: it hands the password
/// to the machine's own helper, which asks PAM.
class PolkitAgent {
public:
    enum class Person { knowsPassword, guesses, dismisses, thinks };

    /// Returns once polkit knows of it.
    explicit PolkitAgent(Person person);
    PolkitAgent(const PolkitAgent&) = delete;
    PolkitAgent& operator=(const PolkitAgent&) = delete;
    ~PolkitAgent();

    std::vector<std::string> messages; ///< that the person has read
    std::vector<std::string> actions;
    int cancelled = 0; ///< questions that polkit has taken back

private:
    static void called(GDBusConnection* bus, const char* sender, const char* path, const char* interface,
                       const char* method, GVariant* arguments, GDBusMethodInvocation* call, gpointer self);
    void begin(GVariant* arguments, GDBusMethodInvocation* call);

    Person person_;
    GPtr<GDBusConnection> bus_;
    guint object_ = 0;
    GPtr<GDBusMethodInvocation> waiting_;
};
