#include "demo/State.h"

#include <nlohmann/json.hpp>

namespace Demo {

namespace {
constexpr int formatVersion = 1;
}

nlohmann::json State::toJson() const {
    return {{"version", formatVersion}, {"accounts", accounts.toJson()}, {"sessions", sessions.toJson()}};
}

State State::fromJson(const nlohmann::json& json) {
    if (json.at("version").get<int>() != formatVersion)
        throw std::runtime_error("state of another format");
    return {Accounts::fromJson(json.at("accounts")), Sessions::fromJson(json.at("sessions"))};
}

} // namespace Demo
