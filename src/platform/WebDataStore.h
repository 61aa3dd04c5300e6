#pragma once

#include "platform/CookieJar.h"
#include "platform/Task.h"

#include <functional>
#include <memory>
#include <vector>

/// What the embedded web view keeps: its cookies, and every other kind of website data. Nothing here fails:
/// what the engine cannot do it reports as nothing found, nothing changed.
///
/// The engine is started by the first call, so a program that shows only native screens never pays for it.
class WebDataStore {
public:
    virtual ~WebDataStore() = default;

    /// Without those that have expired.
    virtual Task<std::vector<Cookie>> allCookies() = 0;
    /// Adds the cookie, or replaces the one of the same name, domain and path. Ends when a load would send
    /// it.
    virtual Task<void> setCookie(Cookie cookie) = 0;
    /// Calls `changed` after every change of the cookies, once or more often, for as long as the result is
    /// held.
    virtual std::shared_ptr<void> observeCookies(std::function<void()> changed) = 0;
    /// Removes all website data of every kind and every site, cookies included.
    virtual Task<void> removeAllData() = 0;
};
