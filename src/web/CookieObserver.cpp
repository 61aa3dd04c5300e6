#include "web/CookieObserver.h"

#include <utility>

std::shared_ptr<CookieObserver> CookieObserver::make(WebDataStore& store, Saw saw) {
    // The constructor is private, so that answers can always hold the observer weakly.
    std::shared_ptr<CookieObserver> observer(new CookieObserver(store, std::move(saw)));
    observer->subscription_ = store.observeCookies([weak = observer->weak_from_this()] {
        if (const auto self = weak.lock())
            self->look();
    });
    return observer;
}

CookieObserver::CookieObserver(WebDataStore& store, Saw saw) : store_(store), saw_(std::move(saw)) {}

void CookieObserver::look() {
    if (looking_) {
        changedMeanwhile_ = true;
        return;
    }
    looking_ = true;
    spawn(look(weak_from_this(), store_));
}

Task<> CookieObserver::look(std::weak_ptr<CookieObserver> observer, WebDataStore& store) {
    const auto cookies = co_await store.allCookies();
    const auto self = observer.lock();
    if (!self)
        co_return;
    self->looking_ = false;
    self->saw_(cookies);
    if (std::exchange(self->changedMeanwhile_, false))
        self->look();
}
