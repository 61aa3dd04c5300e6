#include "reminders/Notifications.h"

#include <utility>

namespace {

constexpr auto granted = "granted";
constexpr auto denied = "denied";
constexpr auto prompt = "prompt";

} // namespace

Notifications::Notifications(NotificationCenter& center, MainQueue& queue)
    : center_(center), self_(std::make_shared<Notifications*>(this)) {
    center_.onResponse = [&queue, weak = std::weak_ptr(self_)] {
        queue.after(std::chrono::milliseconds(0), [weak] {
            if (const auto self = weak.lock(); self && (*self)->onOpen)
                (*self)->onOpen();
        });
    };
}

Notifications::~Notifications() {
    center_.onResponse = nullptr;
}

std::string Notifications::statusText(NotificationPermission permission) {
    switch (permission) {
    case NotificationPermission::authorized:
    case NotificationPermission::provisional:
    case NotificationPermission::ephemeral:
        return granted;
    case NotificationPermission::denied:
        return denied;
    case NotificationPermission::notDetermined:
        break;
    }
    return prompt;
}

Task<std::string> Notifications::status() {
    const auto permission = co_await center_.permission();
    co_return statusText(permission);
}

Task<std::string> Notifications::request() {
    if (asking_) {
        const auto shared = waiting_.emplace_back(std::make_shared<Completion<std::string>>());
        co_return co_await *shared;
    }
    co_return co_await finish(center_.requestPermission());
}

Task<> Notifications::reconsider() {
    if (!asking_)
        co_await finish(center_.reconsiderPermission());
}

Task<std::string> Notifications::finish(Task<NotificationPermission> question) {
    asking_ = true;
    const auto permission = co_await std::move(question);
    asking_ = false;
    const std::string answer = statusText(permission) == granted ? granted : denied;
    for (const auto& other : std::exchange(waiting_, {}))
        other->resolve(answer);
    co_return answer;
}
