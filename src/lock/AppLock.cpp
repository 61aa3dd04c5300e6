#include "lock/AppLock.h"

#include "platform/Counted.h"

#include <utility>

namespace {

const char* nameOf(OwnerAuthentication::Kind kind) {
    switch (kind) {
    case OwnerAuthentication::Kind::finger:
        return "touchId";
    case OwnerAuthentication::Kind::password:
        return "passcode";
    default:
        return "none";
    }
}

} // namespace

std::shared_ptr<AppLock> AppLock::make(UserDefaults& defaults, OwnerAuthentication& owner, Window& window,
                                       MainQueue& queue) {
    // The constructor is private, so that every lock is owned the way its questions rely on.
    const std::shared_ptr<AppLock> lock(new AppLock(defaults, owner, window, queue));
    window.onCoverPressed = [weak = std::weak_ptr(lock)] {
        if (const auto self = weak.lock())
            self->challenge();
    };
    return lock;
}

AppLock::AppLock(UserDefaults& defaults, OwnerAuthentication& owner, Window& window, MainQueue& queue)
    : preferences_(defaults), owner_(owner), window_(window), queue_(queue) {}

void AppLock::hide() {
    active_ = false;
    cover();
}

void AppLock::challenge() {
    active_ = true;
    const auto answer = std::exchange(answer_, std::nullopt);
    if (!preferences_.enabled()) {
        window_.uncover();
        return;
    }
    if (answer == true && !prompting_) {
        window_.uncover();
        return;
    }
    if (!window_.isCovered())
        window_.cover();
    if (prompting_ || answer)
        return;
    prompting_ = true;
    if (pageAsks_)
        owner_.withdraw();
    spawn(unlock());
}

void AppLock::cover() {
    if (preferences_.enabled() && !window_.isCovered())
        window_.cover();
}

void AppLock::switchedOn() {
    if (!active_)
        hide();
}

Task<> AppLock::unlock() {
    const auto self = shared_from_this();
    const auto proved = co_await prove("unlock brisko");
    prompting_ = false;
    if (proved && active_)
        window_.uncover();
    else if (!proved && !active_)
        awaitReturn(false);
}

Task<bool> AppLock::prove(std::string reason) {
    const auto self = shared_from_this();
    const Counted counted(asking_);
    const auto turn = co_await turns_.next();
    const auto proved = co_await owner_.authenticate(std::move(reason));
    if (proved && !active_)
        awaitReturn(true);
    co_return proved;
}

Task<bool> AppLock::proveForPage(std::string reason) {
    if (asking_ > 0 || !active_ || window_.isCovered() || window_.hasOverlay())
        co_return false;
    const auto self = shared_from_this();
    pageAsks_ = true;
    const auto proved = co_await prove(std::move(reason));
    pageAsks_ = false;
    co_return proved;
}

void AppLock::awaitReturn(bool proved) {
    answer_ = proved;
    answers_ += 1;
    queue_.after(returnTime, [weak = weak_from_this(), count = answers_] {
        const auto self = weak.lock();
        if (self && self->answers_ == count)
            self->answer_.reset();
    });
}

Task<AppLock::Biometry> AppLock::biometry() {
    const auto kind = co_await owner_.kind();
    Biometry biometry;
    biometry.available = kind != OwnerAuthentication::Kind::none;
    biometry.kind = nameOf(kind);
    co_return biometry;
}
