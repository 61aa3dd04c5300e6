#include "web/Bridge.h"

#include "lock/LockPreferences.h"
#include "platform/Error.h"

#include <algorithm>
#include <memory>

namespace {

using Surroundings = Bridge::Surroundings;

Task<Json> notificationStatus(Surroundings with) {
    const auto status = co_await with.notifications.status();
    co_return Json::object({{"status", status}});
}

Task<Json> requestNotifications(Surroundings with) {
    const auto status = co_await with.notifications.request();
    co_return Json::object({{"status", status}});
}

Task<Json> syncReminders(Surroundings with, Json options) {
    auto items = options.value("items", Json());
    const auto isObject = [](const Json& item) { return item.is_object(); };
    if (!items.is_array() || !std::all_of(items.begin(), items.end(), isObject))
        items = Json::array();
    const auto result = co_await with.reminders.sync(std::move(items));
    co_return Json::object({{"scheduled", result.scheduled}, {"cleared", result.cleared}});
}

Task<Json> biometryAvailable(Surroundings with) {
    const auto biometry = co_await with.appLock.biometry();
    co_return Json::object({{"available", biometry.available}, {"kind", biometry.kind}});
}

Json lockEnabled(const Surroundings& with) {
    return Json::object({{"enabled", LockPreferences(with.defaults).enabled()}});
}

/// Turning it off is always allowed; for turning it on, the owner has to prove to be the owner.
Task<Json> setLockEnabled(Surroundings with, Json options) {
    LockPreferences preferences(with.defaults);
    if (options.value("enabled", Json()) != Json(true)) {
        preferences.setEnabled(false);
        co_return Json::object({{"enabled", false}});
    }
    const auto proved = co_await with.appLock.proveForPage("turn on the lock for brisko");
    if (proved) {
        preferences.setEnabled(true);
        with.appLock.switchedOn();
    }
    co_return Json::object({{"enabled", proved}});
}

Json lockSummary(const Surroundings& with) {
    const LockPreferences preferences(with.defaults);
    const auto shape = with.passcode.shape();
    return Json::object({{"hasPasscode", shape.has_value()},
                         {"digits", shape ? shape->digits : 0},
                         {"autoLock", preferences.automatic()},
                         {"minutes", preferences.delay().count()}});
}

Task<Json> openLockSettings(Surroundings with, Bridge::ShowLockSettings show, Json options) {
    // The panel lets a passcode be set only for a username that is known.
    const auto username = options.value("username", Json());
    const auto given = username.is_string() ? username.get<std::string>() : std::string();
    if (!given.empty() && with.remembered.username().empty())
        with.remembered.setUsername(given);
    const auto done = std::make_shared<Completion<Done>>();
    const std::function<void()> finish = [done] { done->resolve(Done()); };
    if (!show || !show(finish))
        throw Error("brisko: no window to open it over");
    co_await *done;
    co_return Json::object({{"ok", true}});
}

} // namespace

Task<Json> Bridge::answer(Surroundings with, ShowLockSettings show, Json body) {
    const auto said = body.is_object() ? body.value("name", Json()) : Json();
    if (!said.is_string())
        throw Error("brisko: malformed call");
    const auto& name = said.get_ref<const std::string&>();
    auto options = body.value("options", Json());
    if (!options.is_object())
        options = Json::object();
    std::optional<Task<Json>> call;
    if (name == "notificationStatus")
        call = notificationStatus(with);
    else if (name == "requestNotifications")
        call = requestNotifications(with);
    else if (name == "syncReminders")
        call = syncReminders(with, std::move(options));
    else if (name == "biometryAvailable")
        call = biometryAvailable(with);
    else if (name == "lockEnabled")
        co_return lockEnabled(with);
    else if (name == "setLockEnabled")
        call = setLockEnabled(with, std::move(options));
    else if (name == "lockSummary")
        co_return lockSummary(with);
    else if (name == "openLockSettings")
        call = openLockSettings(with, std::move(show), std::move(options));
    else
        throw Error("brisko: no such call " + name);
    co_return co_await std::move(*call);
}
