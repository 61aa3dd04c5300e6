#pragma once

#include "platform/WebDataStore.h"

#include <functional>
#include <memory>
#include <vector>

/// Looks at the cookies of the web view whenever they have changed. Changes that come while a look is under
/// way share the next one, and no answer comes once the observer has gone.
class CookieObserver : public std::enable_shared_from_this<CookieObserver> {
public:
    using Saw = std::function<void(const std::vector<Cookie>&)>;

    /// The store outlives the observer.
    static std::shared_ptr<CookieObserver> make(WebDataStore& store, Saw saw);

    void look();

private:
    CookieObserver(WebDataStore& store, Saw saw);

    static Task<> look(std::weak_ptr<CookieObserver> observer, WebDataStore& store);

    WebDataStore& store_;
    Saw saw_;
    std::shared_ptr<void> subscription_;
    bool looking_ = false;
    bool changedMeanwhile_ = false;
};
