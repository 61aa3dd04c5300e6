#include "web/SessionWatch.h"

#include "account/BriskoAPI.h"

#include <algorithm>

namespace {

/// A queue's timer does not count the time asleep, so a distant expiry is approached in steps.
constexpr std::chrono::milliseconds longestWait = std::chrono::hours(1);

} // namespace

std::shared_ptr<SessionWatch> SessionWatch::make(WebDataStore& store, std::string serviceHost,
                                                 MainQueue& queue, const Clock& clock) {
    // The constructor is private, so that answers can always hold the watch weakly.
    std::shared_ptr<SessionWatch> watch(new SessionWatch(std::move(serviceHost), queue, clock));
    watch->observer_ = CookieObserver::make(store, [weak = watch->weak_from_this()](const auto& cookies) {
        if (const auto self = weak.lock())
            self->saw(cookies);
    });
    watch->cookiesDidChange();
    return watch;
}

SessionWatch::SessionWatch(std::string serviceHost, MainQueue& queue, const Clock& clock)
    : serviceHost_(std::move(serviceHost)), queue_(queue), clock_(clock) {}

void SessionWatch::cookiesDidChange() {
    observer_->look();
}

void SessionWatch::saw(const std::vector<Cookie>& cookies) {
    looks_ += 1;
    const auto session = std::find_if(cookies.begin(), cookies.end(), [this](const Cookie& cookie) {
        return cookie.name == BriskoAPI::sessionCookieName && cookie.domain.ends_with(serviceHost_);
    });
    if (session != cookies.end()) {
        sawSession_ = true;
        lookAtExpiryOf(*session);
    } else if (std::exchange(sawSession_, false)) {
        queue_.after(std::chrono::milliseconds(0), [weak = weak_from_this()] {
            const auto self = weak.lock();
            if (!self || !self->onGone)
                return;
            const auto tell = self->onGone;
            tell();
        });
    }
}

void SessionWatch::lookAtExpiryOf(const Cookie& session) {
    if (!session.expires)
        return;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*session.expires - clock_.now());
    const auto wait = std::clamp(left, std::chrono::milliseconds(1000), longestWait);
    queue_.after(wait, [weak = weak_from_this(), look = looks_] {
        if (const auto self = weak.lock(); self && self->looks_ == look)
            self->cookiesDidChange();
    });
}
