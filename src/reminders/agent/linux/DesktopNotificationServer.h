#pragma once

#include "platform/linux/GPtr.h"
#include "reminders/agent/AgentPorts.h"

#include <gio/gio.h>

#include <set>
#include <string>

/// The desktop's notifications (Desktop Notifications Specification 1.2), on the session bus.
///
/// Titles are plain text; a body is escaped where the server reads markup. Control characters are left out.
class DesktopNotificationServer : public NotificationServer {
public:
    static constexpr const char* busName = "org.freedesktop.Notifications";
    static constexpr const char* objectPath = "/org/freedesktop/Notifications";

    explicit DesktopNotificationServer(GPtr<GDBusConnection> bus);
    ~DesktopNotificationServer() override;
    DesktopNotificationServer(const DesktopNotificationServer&) = delete;
    DesktopNotificationServer& operator=(const DesktopNotificationServer&) = delete;

    std::string name() const override;
    Task<bool> prepare() override;
    Task<Sent> show(NotificationRequest request, std::optional<std::uint32_t> replaced) override;
    void close(std::uint32_t id) override;
    void listen(Listening listening) override;

private:
    static void appeared(GDBusConnection*, const char*, const char* owner, gpointer self);
    static void vanished(GDBusConnection*, const char*, gpointer self);
    static void heard(GDBusConnection*, const char*, const char*, const char*, const char* signal,
                      GVariant* parameters, gpointer self);
    void hear(const std::string& signal, GVariant* parameters);
    void setOwner(const std::string& owner);
    bool can(const char* capability) const { return capabilities_.count(capability) > 0; }
    GVariant* parametersOf(const NotificationRequest& request, std::uint32_t replaced) const;

    GPtr<GDBusConnection> bus_;
    guint watch_ = 0;
    guint subscription_ = 0;
    std::string owner_; ///< the server's unique name; empty when there is none
    bool isPrepared_ = false;
    std::set<std::string> capabilities_;
    std::uint32_t tokenOf_ = 0;
    std::string token_; ///< the latest, for that notification
};
