#include "platform/ScopedDefaults.h"

#include <utility>

ScopedDefaults::ScopedDefaults(UserDefaults& all, std::string prefix, std::string scope)
    : all_(all), prefix_(std::move(prefix)), scope_(std::move(scope)) {}

bool ScopedDefaults::isScoped(const std::string& key) const {
    return !scope_.empty() && key.starts_with(prefix_);
}

Json ScopedDefaults::members() const {
    auto members = all_.value(prefix_ + scope_);
    return members.is_object() ? members : Json::object();
}

Json ScopedDefaults::value(const std::string& key) const {
    return isScoped(key) ? members().value(key, Json()) : all_.value(key);
}

void ScopedDefaults::set(const std::string& key, Json value) {
    update({{key, std::move(value)}});
}

void ScopedDefaults::remove(const std::string& key) {
    update({{key, nullptr}});
}

void ScopedDefaults::update(const std::map<std::string, Json>& changes) {
    std::map<std::string, Json> outer;
    auto inner = members();
    for (const auto& [key, value] : changes) {
        if (!isScoped(key))
            outer[key] = value;
        else if (value.is_null())
            inner.erase(key);
        else
            inner[key] = value;
    }
    if (!scope_.empty())
        outer[prefix_ + scope_] = inner.empty() ? Json() : inner;
    all_.update(outer);
}
