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
class TaskEndpoints {
public:
    TaskEndpoints(SignedIn& signedIn, Now now) : signedIn_(signedIn), now_(std::move(now)) {}

    void addTo(Router& router);

private:
    SignedIn& signedIn_;
    Now now_;
};

} // namespace Demo
