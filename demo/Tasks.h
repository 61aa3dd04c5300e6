#pragma once

#include "demo/Clock.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Demo {

struct Task {
    enum class Status { todo, doing, done };

    int id = 0;        ///< unique within its account and never used again
    std::string title; ///< 1 to 200 characters, no white space at its ends
    std::string notes; ///< up to 5000 characters
    std::string list;  ///< name of the list it belongs to, 1 to 40 characters
    Status status = Status::todo;
    std::string dueDate; ///< "YYYY-MM-DD" on the user's own calendar, or empty
    std::string dueTime; ///< "HH:MM" on that day, or empty; never without a date
    Clock::time_point created;
    std::optional<Clock::time_point> completed; ///< present exactly while the status is done
};

/// The tasks of one account, in the order in which they were added.
///
/// Fields come as JSON: "title", "notes", "list", "status" ("todo", "doing", "done"), "dueDate" and "dueTime"
/// (text or null); others are ignored. A field that breaks its rule throws Refusal (400) and leaves the tasks
/// as they were.
class Tasks {
public:
    const std::vector<Task>& all() const { return tasks_; }

    /// Only "title" is required; the rest defaults to a plain open task in the list "Inbox".
    const Task& add(const nlohmann::json& fields, Clock::time_point now);

    /// Adds a task for each member of an array of fields, and returns the new ones. Takes 1 to 1000 of them,
    /// all or none: a refusal says by its place, from 1, which one broke a rule.
    std::span<const Task> addAll(const nlohmann::json& list, Clock::time_point now);

    /// Changes the given fields only. Throws Refusal (404) for an unknown id.
    const Task& change(int id, const nlohmann::json& fields, Clock::time_point now);

    /// Throws Refusal (404) for an unknown id.
    const Task& find(int id) const;
    void remove(int id);

    /// Removes the tasks of an array of ids and returns how many there were. One that is gone already is what
    /// was wanted, and no error.
    std::size_t removeAll(const nlohmann::json& ids);

    /// {"next": the next id, "tasks": [...]}. `fromJson` throws std::exception for anything else.
    nlohmann::json toJson() const;
    static Tasks fromJson(const nlohmann::json& json);

private:
    std::vector<Task> tasks_;
    int nextId_ = 1;
};

/// The task as the page and the state file have it: the fields above, and "id", "createdAt", "completedAt"
/// (ms or null).
nlohmann::json taskToJson(const Task& task);

} // namespace Demo
