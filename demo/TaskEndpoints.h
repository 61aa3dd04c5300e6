#pragma once

#include "demo/Clock.h"
#include "demo/Router.h"
#include "demo/SignedIn.h"

namespace Demo {

/// What the task page reads and writes, for signed-in accounts only (401 otherwise), as JSON:
///
///   GET    /api/settings     {"username", "email", "theme", "view", "shortcuts"}
///   PATCH  /api/settings     any of "theme", "view", "shortcuts" (Settings); the whole settings
///   GET    /api/tasks        {"tasks": [...]}
///   POST   /api/tasks        a task's fields (Tasks::add); 201 and the task
///   GET    /api/tasks/ID     the task
///   PATCH  /api/tasks/ID     the fields to change; the task
///   DELETE /api/tasks/ID     204
///   POST   /api/tasks/import {"tasks": [fields, ...]} (Tasks::addAll); 201 and {"tasks"}, the new ones
///   POST   /api/tasks/delete {"ids": [...]} (Tasks::removeAll); {"deleted": how many}
///   GET    /api/tasks/export.csv   all tasks as a table (tasksToCsv)
class TaskEndpoints {
public:
    static constexpr const char* importPath = "/api/tasks/import";

    TaskEndpoints(SignedIn& signedIn, Now now) : signedIn_(signedIn), now_(std::move(now)) {}

    void addTo(Router& router);

private:
    void addSettings(Router& router);
    void addTasks(Router& router);
    void addManyTasks(Router& router);

    SignedIn& signedIn_;
    Now now_;
};

} // namespace Demo
