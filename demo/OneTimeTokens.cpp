#include "demo/OneTimeTokens.h"

#include "demo/Random.h"

#include <algorithm>

namespace Demo {

OneTimeTokens::OneTimeTokens(Now now, std::chrono::seconds lifetime, std::size_t capacity)
    : now_(std::move(now)), lifetime_(lifetime), capacity_(capacity) {}

std::string OneTimeTokens::issue(std::string payload) {
    if (entries_.size() == capacity_)
        entries_.pop_front();
    entries_.push_back({Random::token(), std::move(payload), now_() + lifetime_});
    return entries_.back().token;
}

std::optional<std::string> OneTimeTokens::take(const std::string& token) {
    const auto found = std::ranges::find(entries_, token, &Entry::token);
    if (found == entries_.end())
        return std::nullopt;
    const Entry entry = std::move(*found);
    entries_.erase(found);
    if (entry.expires <= now_())
        return std::nullopt;
    return entry.payload;
}

} // namespace Demo
