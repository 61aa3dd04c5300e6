#include "web/linux/WebKitDataStore.h"

#include "account/linux/SoupCookies.h"
#include "platform/linux/GAsync.h"

namespace {

/// A callback for as long as it is held.
struct CookieObserver {
    CookieObserver(WebKitCookieManager* manager, std::function<void()> told)
        : changed(std::move(told)),
          connection(manager, g_signal_connect(manager, "changed", G_CALLBACK(notify), this)) {}

    static void notify(WebKitCookieManager*, CookieObserver* self) {
        // The callback may let this object go.
        const auto tell = self->changed;
        tell();
    }

    std::function<void()> changed;
    SignalConnection connection;
};

void report(const char* what, GError* error) {
    if (error)
        g_warning("%s: %s", what, GErrorPtr(error)->message);
}

Task<> leavePages(std::shared_ptr<WebKitViews> views) {
    std::vector<WebKitView::Departure> departures;
    for (auto* const view : *views)
        departures.push_back(view->leavePage());
    for (const auto& departure : departures)
        co_await *departure;
}

} // namespace

WebKitDataStore::WebKitDataStore(GPtr<WebKitNetworkSession> session, std::shared_ptr<WebKitViews> views)
    : session_(std::move(session)), views_(std::move(views)) {}

std::shared_ptr<void> WebKitDataStore::observeCookies(std::function<void()> changed) {
    return std::make_shared<CookieObserver>(webkit_network_session_get_cookie_manager(session_.get()),
                                            std::move(changed));
}

Task<std::vector<Cookie>> WebKitDataStore::allCookies() {
    const auto session = session_;
    auto* const manager = webkit_network_session_get_cookie_manager(session.get());
    GAsync listing;
    webkit_cookie_manager_get_all_cookies(manager, nullptr, GAsync::ready, &listing);
    const auto result = co_await listing;
    GError* error = nullptr;
    auto* const list = webkit_cookie_manager_get_all_cookies_finish(manager, result.get(), &error);
    report("Listing the page's cookies", error);
    std::vector<Cookie> cookies;
    for (auto* item = list; item; item = item->next) {
        const SoupCookiePtr owned(static_cast<SoupCookie*>(item->data));
        cookies.push_back(fromSoup(owned.get()));
    }
    g_list_free(list);
    const auto now = std::chrono::system_clock::now();
    std::erase_if(cookies, [now](const Cookie& cookie) { return cookie.expires && *cookie.expires <= now; });
    co_return cookies;
}

Task<> WebKitDataStore::setCookie(Cookie cookie) {
    const auto session = session_;
    auto* const manager = webkit_network_session_get_cookie_manager(session.get());
    const auto converted = toSoup(cookie);
    GAsync adding;
    webkit_cookie_manager_add_cookie(manager, converted.get(), nullptr, GAsync::ready, &adding);
    const auto result = co_await adding;
    GError* error = nullptr;
    webkit_cookie_manager_add_cookie_finish(manager, result.get(), &error);
    report("Setting a cookie for the page", error);
}

Task<> WebKitDataStore::removeAllData() {
    const auto session = session_;
    co_await leavePages(views_);
    auto* const manager = webkit_network_session_get_website_data_manager(session.get());
    GAsync clearing;
    webkit_website_data_manager_clear(manager, WEBKIT_WEBSITE_DATA_ALL, 0, nullptr, GAsync::ready, &clearing);
    const auto result = co_await clearing;
    GError* error = nullptr;
    webkit_website_data_manager_clear_finish(manager, result.get(), &error);
    report("Removing the website data", error);
}
