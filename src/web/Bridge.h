#pragma once

#include "account/Remembered.h"
#include "lock/AppLock.h"
#include "lock/Passcode.h"
#include "platform/Json.h"
#include "platform/Task.h"
#include "platform/UserDefaults.h"
#include "reminders/Notifications.h"
#include "reminders/Reminders.h"

#include <functional>
#include <string>

/// Answers the calls that a page makes through `window.BriskoNative`, each exactly once: with a value, or
/// with an error whose text the page's promise is rejected with.
///
/// | call                 | options             | value                                                   |
/// |----------------------|---------------------|---------------------------------------------------------|
/// | notificationStatus   |                     | {"status": "granted", "denied" or "prompt"}             |
/// | requestNotifications |                     | {"status": "granted" or "denied"}                       |
/// | syncReminders        | "items": objects    | {"scheduled": integer, "cleared": integer}              |
/// | biometryAvailable    |                     | {"available": boolean, "kind": text}                    |
/// | lockEnabled          |                     | {"enabled": boolean}                                    |
/// | setLockEnabled       | "enabled": boolean  | {"enabled": boolean}                                    |
/// | lockSummary          |                     | {"hasPasscode", "digits", "autoLock", "minutes"}        |
/// | openLockSettings     | "username": text    | {"ok": true}, once the panel is done                    |
///
/// An option of another type counts as absent.
class Bridge {
public:
    /// What the answers come from; all of it outlives the calls.
    struct Surroundings {
        Notifications& notifications;
        Reminders& reminders;
        AppLock& appLock;
        Passcode& passcode;
        Remembered& remembered;
        UserDefaults& defaults;
    };
    /// Shows the lock settings and calls `done` once they are; false where there is no window for them.
    using ShowLockSettings = std::function<bool(std::function<void()> done)>;

    static constexpr const char* handlerName = "brisko";

    explicit Bridge(const Surroundings& surroundings) : with_(surroundings) {}

    ShowLockSettings showLockSettings;

    /// `body` is `{"name": text, "options": object}`; options of another kind count as none. Throws Error. A
    /// call goes on when the bridge has gone.
    Task<Json> call(Json body) const { return answer(with_, showLockSettings, std::move(body)); }

private:
    static Task<Json> answer(Surroundings with, ShowLockSettings show, Json body);

    Surroundings with_;
};
