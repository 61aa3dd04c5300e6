#include "web/linux/LazyWebDataStore.h"

LazyWebDataStore::LazyWebDataStore(Provider provider) : provider_(std::move(provider)) {}

WebDataStore* LazyWebDataStore::store() {
    try {
        return &provider_().dataStore();
    } catch (const Error& failure) {
        g_warning("%s", failure.what());
        return nullptr;
    }
}

std::shared_ptr<void> LazyWebDataStore::observeCookies(std::function<void()> changed) {
    auto* const real = store();
    return real ? real->observeCookies(std::move(changed)) : nullptr;
}

Task<std::vector<Cookie>> LazyWebDataStore::allCookies() {
    auto* const real = store();
    if (!real)
        co_return std::vector<Cookie>();
    co_return co_await real->allCookies();
}

Task<> LazyWebDataStore::setCookie(Cookie cookie) {
    auto* const real = store();
    if (!real)
        co_return;
    co_await real->setCookie(std::move(cookie));
}

Task<> LazyWebDataStore::removeAllData() {
    auto* const real = store();
    if (!real)
        co_return;
    co_await real->removeAllData();
}
