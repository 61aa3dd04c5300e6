#pragma once

#include "platform/WebDataStore.h"
#include "platform/linux/GPtr.h"
#include "web/linux/WebKitView.h"

#include <webkit/webkit.h>

#include <memory>

/// The data store over WebKitGTK. What the engine reports as failed is written to the log.
class WebKitDataStore : public WebDataStore {
public:
    WebKitDataStore(GPtr<WebKitNetworkSession> session, std::shared_ptr<WebKitViews> views);

    std::shared_ptr<void> observeCookies(std::function<void()> changed) override;
    Task<std::vector<Cookie>> allCookies() override;
    Task<> setCookie(Cookie cookie) override;
    /// Every view leaves its page for an empty one first: a page that stays could write again behind the
    /// removal, and one with a service worker makes the engine wait for three seconds.
    Task<> removeAllData() override;

private:
    GPtr<WebKitNetworkSession> session_;
    std::shared_ptr<WebKitViews> views_;
};
