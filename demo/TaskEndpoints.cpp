#include "demo/TaskEndpoints.h"

#include "demo/TasksCsv.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <span>

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

Answer tasksAnswer(unsigned status, std::span<const Task> tasks) {
    nlohmann::json list = nlohmann::json::array();
    for (const Task& task : tasks)
        list.push_back(taskToJson(task));
    return Answer::json(status, {{"tasks", std::move(list)}});
}

Answer csvOf(const Account& account) {
    return {200,
            "text/csv; charset=utf-8",
            tasksToCsv(account.tasks.all()),
            {{"Content-Disposition", "attachment; filename=\"brisko tasks.csv\""}}};
}

/// A member of the request, null when it is missing.
nlohmann::json member(const Request& request, const char* key) {
    return request.object().value(key, nlohmann::json());
}

} // namespace

void TaskEndpoints::addTo(Router& router) {
    addSettings(router);
    addTasks(router);
    addManyTasks(router);
}

void TaskEndpoints::addSettings(Router& router) {
    router.on("GET", "/api/settings",
              [this](const Request& request) { return settingsOf(signedIn_.require(request)); });
    router.on("PATCH", "/api/settings", [this](const Request& request) {
        Account& account = signedIn_.require(request);
        account.settings.change(request.object());
        return settingsOf(account);
    });
}

void TaskEndpoints::addTasks(Router& router) {
    router.on("GET", "/api/tasks", [this](const Request& request) {
        return tasksAnswer(200, signedIn_.require(request).tasks.all());
    });
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

void TaskEndpoints::addManyTasks(Router& router) {
    router.on("POST", importPath, [this](const Request& request) {
        Account& account = signedIn_.require(request);
        return tasksAnswer(201, account.tasks.addAll(member(request, "tasks"), now_()));
    });
    router.on("POST", "/api/tasks/delete", [this](const Request& request) {
        Account& account = signedIn_.require(request);
        return Answer::json(200, {{"deleted", account.tasks.removeAll(member(request, "ids"))}});
    });
    router.on("GET", "/api/tasks/export.csv",
              [this](const Request& request) { return csvOf(signedIn_.require(request)); });
}

} // namespace Demo
