#include "demo/Sessions.h"

#include "demo/Random.h"
#include "platform/linux/GPtr.h"

#include <glib.h>
#include <nlohmann/json.hpp>

namespace Demo {

namespace {

std::string hashed(const std::string& token) {
    return GText(g_compute_checksum_for_data(G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(token.data()),
                                             token.size()))
        .get();
}

} // namespace

std::string Sessions::open(const std::string& username, Clock::time_point now) {
    std::erase_if(sessions_, [&](const auto& entry) { return entry.second.expires <= now; });
    std::string token = Random::token();
    sessions_[hashed(token)] = {username, now + lifetime};
    return token;
}

std::optional<std::string> Sessions::username(const std::string& token, Clock::time_point now) const {
    const auto found = sessions_.find(hashed(token));
    if (found == sessions_.end() || found->second.expires <= now)
        return std::nullopt;
    return found->second.username;
}

void Sessions::close(const std::string& token) {
    sessions_.erase(hashed(token));
}

nlohmann::json Sessions::toJson() const {
    auto result = nlohmann::json::object();
    for (const auto& [hash, session] : sessions_)
        result[hash] = {{"username", session.username}, {"expires", toMilliseconds(session.expires)}};
    return result;
}

Sessions Sessions::fromJson(const nlohmann::json& json) {
    Sessions result;
    for (const auto& [hash, session] : json.get<nlohmann::json::object_t>())
        result.sessions_[hash] = {session.at("username").get<std::string>(),
                                  fromMilliseconds(session.at("expires").get<std::int64_t>())};
    return result;
}

} // namespace Demo
