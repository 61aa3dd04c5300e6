#pragma once

#include "platform/CookieJar.h"
#include "platform/Task.h"

#include <vector>

/// What the embedded web view keeps: its cookies, and every other kind of website data. Nothing here fails:
/// what the engine cannot do it reports as nothing found, nothing changed.
///
/// The engine is started by the first call, so a program that shows only native screens never pays for it.
class WebDataStore {
public:
    virtual ~WebDataStore() = default;

    virtual Task<std::vector<Cookie>> allCookies() = 0;
    /// Adds the cookie, or replaces the one of the same name, domain and path. Ends when a load would send
    /// it.
    virtual Task<void> setCookie(Cookie cookie) = 0;
    /// Removes all website data of every kind and every site, cookies included.
    virtual Task<void> removeAllData() = 0;
};
