#pragma once

#include "platform/NotificationCenter.h"
#include "platform/NotificationQuestion.h"

#include <map>
#include <memory>

/// A zone whose clocks are set at moments that the test names.
class FakeTimeZone : public TimeZone {
public:
    std::chrono::seconds offset{0}; ///< before the first change
    std::map<std::chrono::sys_seconds, std::chrono::seconds> changes;
    std::optional<std::chrono::seconds> chosen; ///< another zone, once it is taken over

    void refresh() override { offset = chosen.value_or(offset); }
    std::chrono::seconds offsetAt(std::chrono::sys_seconds moment) const override {
        const auto next = changes.upper_bound(moment);
        return next == changes.begin() ? offset : std::prev(next)->second;
    }
};

/// The person in front of the question. They answer when the test says so.
class FakeNotificationQuestion : public NotificationQuestion {
public:
    int asked = 0;

    Task<Answer> ask(NotificationPermission) override {
        asked += 1;
        const auto answer = open_ = std::make_shared<Completion<Answer>>();
        co_return co_await *answer;
    }
    void answer(Answer answer) { std::exchange(open_, nullptr)->resolve(answer); }

private:
    std::shared_ptr<Completion<Answer>> open_;
};

/// A notification centre in memory. `unavailable`, it is one without a desktop.
class FakeNotificationCenter : public NotificationCenter {
public:
    explicit FakeNotificationCenter(NotificationQuestion& question) : question_(question) {}

    NotificationPermission state = NotificationPermission::notDetermined;
    std::vector<NotificationRequest> pending;
    bool unavailable = false;
    bool full = false; ///< nothing more can be kept

    Task<NotificationPermission> permission() override {
        co_return unavailable ? NotificationPermission::denied : state;
    }
    Task<NotificationPermission> requestPermission() override {
        if (unavailable)
            co_return NotificationPermission::denied;
        if (state != NotificationPermission::notDetermined)
            co_return state;
        co_return co_await reconsiderPermission();
    }
    Task<NotificationPermission> reconsiderPermission() override {
        const auto answer = co_await question_.ask(state);
        if (answer != NotificationQuestion::Answer::dismissed)
            state = answer == NotificationQuestion::Answer::allow ? NotificationPermission::authorized
                                                                  : NotificationPermission::denied;
        co_return unavailable ? NotificationPermission::denied : state;
    }
    Task<std::vector<std::string>> pendingIdentifiers() override {
        std::vector<std::string> identifiers;
        for (const auto& request : pending)
            if (!unavailable)
                identifiers.push_back(request.identifier);
        co_return identifiers;
    }
    Task<Replaced> replace(std::string prefix, std::vector<NotificationRequest> requests) override {
        Replaced replaced;
        if (unavailable || full)
            co_return replaced;
        replaced.removed = std::erase_if(
            pending, [&](const auto& request) { return request.identifier.starts_with(prefix); });
        replaced.added = requests.size();
        for (auto& request : requests) {
            std::erase_if(pending, [&](const auto& other) { return other.identifier == request.identifier; });
            pending.push_back(std::move(request));
        }
        co_return replaced;
    }

private:
    NotificationQuestion& question_;
};
