#pragma once

#include "platform/MainQueue.h"
#include "platform/NotificationCenter.h"
#include "platform/Task.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// The permission to notify, in the page's words, and the reaction to an opened notification.
///
/// A notification that comes while the window is in front is shown as any other: the desktop decides how.
class Notifications {
public:
    /// Both outlive it, and what is under way.
    Notifications(NotificationCenter& center, MainQueue& queue);
    ~Notifications();
    Notifications(const Notifications&) = delete;
    Notifications& operator=(const Notifications&) = delete;

    /// Told when the person has opened a notification, whichever it was, on a later turn of the main queue.
    std::function<void()> onOpen;

    /// "granted", "denied" or "prompt".
    Task<std::string> status();
    /// Asks the person where they have not answered yet. Calls that come while the question is open share its
    /// answer. "granted" or "denied".
    Task<std::string> request();

    /// Asks the person again, whatever they have answered before, unless they are being asked.
    Task<> reconsider();

    static std::string statusText(NotificationPermission permission);

private:
    Task<std::string> finish(Task<NotificationPermission> question);

    NotificationCenter& center_;
    bool asking_ = false;
    std::vector<std::shared_ptr<Completion<std::string>>> waiting_; ///< for the answer to the open question
    std::shared_ptr<Notifications*> self_; ///< what waits in the queue holds it weakly
};
