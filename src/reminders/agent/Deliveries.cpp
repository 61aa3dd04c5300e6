#include "reminders/agent/Deliveries.h"

#include "platform/WholeNumber.h"

#include <algorithm>
#include <utility>

namespace {

using Kind = DeliveryEvent::Kind;

constexpr std::pair<Kind, const char*> kinds[] = {{Kind::delivered, "delivered"},
                                                  {Kind::withdrawn, "withdrawn"},
                                                  {Kind::shown, "shown"},
                                                  {Kind::closed, "closed"}};

} // namespace

std::string DeliveryEvent::encode() const {
    const auto* name = std::find_if(std::begin(kinds), std::end(kinds),
                                    [this](const auto& entry) { return entry.first == kind; });
    Json json = {{name->second, identifier}};
    if (kind == Kind::delivered) {
        json["sync"] = sync;
        json["moment"] = moment.time_since_epoch().count();
    } else if (kind == Kind::shown) {
        json["server"] = server;
        json["id"] = id;
    }
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::optional<DeliveryEvent> DeliveryEvent::decode(std::string_view line) {
    const auto json = parseJson(line);
    try {
        for (const auto& [kind, name] : kinds) {
            if (!json.contains(name))
                continue;
            DeliveryEvent event;
            event.kind = kind;
            event.identifier = json[name].get<std::string>();
            if (kind == Kind::delivered) {
                event.sync = wholeNumber<std::uint64_t>(json.at("sync"));
                event.moment = std::chrono::sys_seconds(
                    std::chrono::seconds(wholeNumber<std::int64_t>(json.at("moment"))));
            } else if (kind == Kind::shown) {
                event.server = json.at("server").get<std::string>();
                event.id = wholeNumber<std::uint32_t>(json.at("id"));
            }
            return event;
        }
    } catch (const Json::exception&) {
        return std::nullopt;
    }
    return std::nullopt;
}

void Deliveries::apply(const DeliveryEvent& event) {
    switch (event.kind) {
    case Kind::delivered:
        delivered_[event.identifier] = event;
        latestSync_ = std::max(latestSync_, event.sync);
        break;
    case Kind::withdrawn:
        delivered_.erase(event.identifier);
        break;
    case Kind::shown:
        shown_[event.identifier] = event;
        break;
    case Kind::closed:
        shown_.erase(event.identifier);
        break;
    }
}

bool Deliveries::covers(const std::string& identifier, std::uint64_t sync,
                        std::chrono::sys_seconds moment) const {
    const auto found = delivered_.find(identifier);
    return found != delivered_.end() && (found->second.sync == sync || found->second.moment == moment);
}

std::optional<std::uint32_t> Deliveries::shown(const std::string& server,
                                               const std::string& identifier) const {
    const auto found = shown_.find(identifier);
    if (found == shown_.end() || found->second.server != server)
        return std::nullopt;
    return found->second.id;
}

std::optional<std::string> Deliveries::identifierOf(const std::string& server, std::uint32_t id) const {
    for (const auto& [identifier, event] : shown_)
        if (event.id == id && event.server == server)
            return identifier;
    return std::nullopt;
}

bool Deliveries::isAnyShown(const std::string& server) const {
    return std::any_of(shown_.begin(), shown_.end(),
                       [&](const auto& entry) { return entry.second.server == server; });
}

std::vector<DeliveryEvent> Deliveries::summary(std::chrono::sys_seconds since,
                                               const std::string& server) const {
    std::vector<DeliveryEvent> events;
    for (const auto& [identifier, event] : delivered_)
        if (event.moment >= since)
            events.push_back(event);
    for (const auto& [identifier, event] : shown_)
        if (server.empty() || event.server == server)
            events.push_back(event);
    return events;
}
