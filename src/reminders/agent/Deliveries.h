#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// One line of the agent's log.
struct DeliveryEvent {
    enum class Kind {
        delivered, ///< written before the notification is sent
        withdrawn, ///< there was certainly nobody to send it to
        shown,     ///< the notification server has given it a number
        closed     ///< it is no longer there
    };

    Kind kind = Kind::delivered;
    std::string identifier;          ///< of the request
    std::uint64_t sync = 0;          ///< delivered: the replacement that it came with
    std::chrono::sys_seconds moment; ///< delivered: when it was due
    std::string server;              ///< shown: which server, as no two that ever ran are named
    std::uint32_t id = 0;            ///< shown: its number there

    /// A JSON object without a line break.
    std::string encode() const;
    /// None when the line is something else.
    static std::optional<DeliveryEvent> decode(std::string_view line);

    bool operator==(const DeliveryEvent&) const = default;
};

/// What has been delivered, and what of it is still on the screen.
class Deliveries {
public:
    void apply(const DeliveryEvent& event);

    /// Whether a request has had its notification: one of the same replacement has, or one for the same
    /// moment. The latter counts across replacements, as a page that sends its list in the minute in which a
    /// reminder is due may send that one again; so does a clock that is set back.
    bool covers(const std::string& identifier, std::uint64_t sync, std::chrono::sys_seconds moment) const;
    /// The latest replacement that anything has been delivered of.
    std::uint64_t latestSync() const { return latestSync_; }

    /// Its number on the screen of that server.
    std::optional<std::uint32_t> shown(const std::string& server, const std::string& identifier) const;
    std::optional<std::string> identifierOf(const std::string& server, std::uint32_t id) const;
    bool isAnyShown(const std::string& server) const;

    /// The same in as few events as possible, without what was due before `since` or is on the screen of
    /// another server than the one that runs; its name is empty while it is not known.
    std::vector<DeliveryEvent> summary(std::chrono::sys_seconds since, const std::string& server) const;

private:
    std::map<std::string, DeliveryEvent> delivered_; ///< by identifier, the latest
    std::map<std::string, DeliveryEvent> shown_;     ///< by identifier
    std::uint64_t latestSync_ = 0;
};
