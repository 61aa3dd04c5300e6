#pragma once

#include "platform/Clock.h"
#include "platform/MainQueue.h"
#include "platform/WebDataStore.h"
#include "web/CookieObserver.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

/// Notices when the web view loses its session: says so once each time the session cookie, having been in the
/// store, is no longer there, whatever has removed it.
///
/// The first look at the store is made at once: a session that was there before the watch counts as seen.
/// Changes that come while a look is under way share the next one. A cookie that expires is gone without
/// anybody changing it, so its hour is a reason to look as well.
class SessionWatch : public std::enable_shared_from_this<SessionWatch> {
public:
    /// `serviceHost` is what the cookie's domain has to end with. The store, the queue and the clock outlive
    /// the watch.
    static std::shared_ptr<SessionWatch> make(WebDataStore& store, std::string serviceHost, MainQueue& queue,
                                              const Clock& clock);

    /// The session cookie has gone. Called on a later turn of the main queue, never from within the store's
    /// answer.
    std::function<void()> onGone;

    /// Looks at the store again.
    void cookiesDidChange();

private:
    SessionWatch(std::string serviceHost, MainQueue& queue, const Clock& clock);

    void saw(const std::vector<Cookie>& cookies);
    void lookAtExpiryOf(const Cookie& session);

    const std::string serviceHost_;
    MainQueue& queue_;
    const Clock& clock_;
    std::shared_ptr<CookieObserver> observer_;
    bool sawSession_ = false;
    std::uint64_t looks_ = 0; ///< tells a look that has been overtaken
};
