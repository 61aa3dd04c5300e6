#include "reminders/linux/PermissionFile.h"

namespace {

constexpr auto key = "notifications";
constexpr auto allowed = "allowed";
constexpr auto refused = "refused";

} // namespace

NotificationPermission PermissionFile::read() const {
    const auto answer = file_.value(key);
    if (answer == allowed)
        return NotificationPermission::authorized;
    return answer == refused ? NotificationPermission::denied : NotificationPermission::notDetermined;
}

void PermissionFile::write(NotificationPermission permission) {
    file_.set(key, permission == NotificationPermission::authorized ? allowed : refused);
}
