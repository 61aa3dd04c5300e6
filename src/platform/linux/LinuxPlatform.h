#pragma once

#include "account/linux/DurableCookieJar.h"
#include "platform/linux/JsonUserDefaults.h"
#include "platform/linux/LazyHttpClient.h"
#include "platform/linux/Profile.h"
#include "web/linux/LazyWebDataStore.h"
#include "web/linux/WebEngine.h"

#include <filesystem>
#include <memory>
#include <optional>

/// The adapters of one service origin in one profile, made once and handed down. None of them needs a
/// display, and none starts the web engine or loads what TLS needs before it is asked for.
class LinuxPlatform {
public:
    struct Service {
        Url origin;
        std::optional<std::filesystem::path> trusted; ///< PEM, trusted for the origin and nothing else
        std::filesystem::path data;
        std::filesystem::path cache;
    };

    LinuxPlatform(const Profile& profile, const Service& service);

    const Url& origin() const { return service_.origin; }
    CookieJar& cookies() { return cookies_; }
    HttpClient& http() { return http_; }
    UserDefaults& defaults() { return defaults_; }
    WebDataStore& webData() { return webData_; }
    /// Loads and starts the engine at the first call. Throws Error when that fails.
    WebEngine& webEngine();
    /// Ends every open request as cancelled before it returns; later ones fail the same way.
    void cancelRequests() { http_.end(); }

private:
    Service service_;
    JsonUserDefaults defaults_;
    DurableCookieJar cookies_;
    LazyHttpClient http_;
    std::unique_ptr<WebEngine> engine_;
    LazyWebDataStore webData_;
};
