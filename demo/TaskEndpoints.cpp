#include "demo/TaskEndpoints.h"

#include <nlohmann/json.hpp>

#include <charconv>

namespace Demo {

namespace {

/// The id in the last segment of the path; what is no number is an id that no task has.
int taskId(const Request& request) {
    const std::string segment = request.path.substr(request.path.rfind('/') + 1);
    int id = 0;
    const auto result = std::from_chars(segment.data(), segment.data() + segment.size(), id);
    return result.ptr == segment.data() + segment.size() ? id : 0;
}

Answer settingsOf(const Account& account) {
    nlohmann::json settings = account.settings.toJson();
    settings["username"] = account.username;
    settings["email"] = account.email;
    return Answer::json(200, settings);
}

Answer tasksOf(const Account& account) {
    nlohmann::json tasks = nlohmann::json::array();
    for (const Task& task : account.tasks.all())
        tasks.push_back(taskToJson(task));
    return Answer::json(200, {{"tasks", std::move(tasks)}});
}

} // namespace

void TaskEndpoints::addTo(Router& router) {
    router.on("GET", "/api/settings",
              [this](const Request& request) { return settingsOf(signedIn_.require(request)); });
    router.on("PATCH", "/api/settings", [this](const Request& request) {
        Account& account = signedIn_.require(request);
        account.settings.change(request.object());
        return settingsOf(account);
    });
    router.on("GET", "/api/tasks",
              [this](const Request& request) { return tasksOf(signedIn_.require(request)); });
    router.on("POST", "/api/tasks", [this](const Request& request) {
        Account& account = signedIn_.require(request);
        return Answer::json(201, taskToJson(account.tasks.add(request.object(), now_())));
    });
    router.on("GET", "/api/tasks/*", [this](const Request& request) {
        return Answer::json(200, taskToJson(signedIn_.require(request).tasks.find(taskId(request))));
    });
    router.on("PATCH", "/api/tasks/*", [this](const Request& request) {
        Account& account = signedIn_.require(request);
        return Answer::json(200, taskToJson(account.tasks.change(taskId(request), request.object(), now_())));
    });
    router.on("DELETE", "/api/tasks/*", [this](const Request& request) {
        signedIn_.require(request).tasks.remove(taskId(request));
        return Answer::empty();
    });
}

} // namespace Demo
