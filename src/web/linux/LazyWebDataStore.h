#pragma once

#include "platform/WebDataStore.h"
#include "web/linux/WebEngine.h"

#include <functional>

/// The data store of an engine that is started by the first call here.
///
/// Where it cannot be started nothing is found and nothing changes, as the port has it; each call says why in
/// the log and tries again.
class LazyWebDataStore : public WebDataStore {
public:
    /// Starts the engine on its first call. The engine has to outlive every call here. May throw Error.
    using Provider = std::function<WebEngine&()>;

    explicit LazyWebDataStore(Provider provider);

    std::shared_ptr<void> observeCookies(std::function<void()> changed) override;
    Task<std::vector<Cookie>> allCookies() override;
    Task<> setCookie(Cookie cookie) override;
    Task<> removeAllData() override;

private:
    WebDataStore* store();

    Provider provider_;
};
