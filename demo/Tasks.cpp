#include "demo/Tasks.h"

#include "demo/Http.h"

#include <glib.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <set>
#include <string_view>

namespace Demo {

namespace {

using nlohmann::json;

constexpr std::size_t maximumTasks = 5000;
constexpr std::size_t maximumAtOnce = 1000;
constexpr glong titleLength = 200;
constexpr glong notesLength = 5000;
constexpr glong listLength = 40;
constexpr std::array<const char*, 3> statusNames = {"todo", "doing", "done"};

/// The number in exactly these digits, or -1.
int number(std::string_view digits) {
    int value = -1;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return result.ec == std::errc() && result.ptr == digits.data() + digits.size() ? value : -1;
}

bool isDate(std::string_view text) {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-')
        return false;
    const int year = number(text.substr(0, 4));
    const int month = number(text.substr(5, 2));
    const int day = number(text.substr(8, 2));
    if (year < 1 || month < 1 || day < 1)
        return false;
    return std::chrono::year_month_day(std::chrono::year(year),
                                       std::chrono::month(static_cast<unsigned>(month)),
                                       std::chrono::day(static_cast<unsigned>(day)))
        .ok();
}

bool isTime(std::string_view text) {
    if (text.size() != 5 || text[2] != ':')
        return false;
    const int hour = number(text.substr(0, 2));
    const int minute = number(text.substr(3, 2));
    return hour >= 0 && hour < 24 && minute >= 0 && minute < 60;
}

std::string trimmed(std::string text) {
    g_strstrip(text.data());
    text.resize(std::char_traits<char>::length(text.c_str()));
    return text;
}

glong characters(const std::string& text) {
    return g_utf8_strlen(text.data(), static_cast<gssize>(text.size()));
}

/// The text under `key`, "" for null, none when the key is absent.
std::optional<std::string> optionalText(const json& fields, const char* key) {
    if (!fields.contains(key))
        return std::nullopt;
    if (fields[key].is_null())
        return "";
    return requireText(fields, key);
}

Task::Status statusNamed(const std::string& name) {
    const auto found = std::ranges::find(statusNames, name);
    if (found == statusNames.end())
        throw Refusal(400, "A task is to do, in progress or done.");
    return static_cast<Task::Status>(found - statusNames.begin());
}

void applyTexts(Task& task, const json& fields) {
    if (const auto title = optionalText(fields, "title"))
        task.title = trimmed(*title);
    if (task.title.empty())
        throw Refusal(400, "A task needs a title.");
    if (characters(task.title) > titleLength)
        throw Refusal(400, "The title is too long.");
    if (const auto notes = optionalText(fields, "notes"))
        task.notes = *notes;
    if (characters(task.notes) > notesLength)
        throw Refusal(400, "The notes are too long.");
    if (const auto list = optionalText(fields, "list"))
        task.list = trimmed(*list);
    if (task.list.empty())
        throw Refusal(400, "A task needs a list to be in.");
    if (characters(task.list) > listLength)
        throw Refusal(400, "The name of the list is too long.");
}

void applyDue(Task& task, const json& fields) {
    if (const auto date = optionalText(fields, "dueDate")) {
        if (!date->empty() && !isDate(*date))
            throw Refusal(400, "There is no such day.");
        task.dueDate = *date;
    }
    if (const auto time = optionalText(fields, "dueTime")) {
        if (!time->empty() && !isTime(*time))
            throw Refusal(400, "There is no such time of day.");
        task.dueTime = *time;
    }
    if (!task.dueTime.empty() && task.dueDate.empty())
        throw Refusal(400, "A time needs a day.");
}

void apply(Task& task, const json& fields, Clock::time_point now) {
    applyTexts(task, fields);
    applyDue(task, fields);
    if (const auto status = optionalText(fields, "status"))
        task.status = statusNamed(*status);
    if (task.status != Task::Status::done)
        task.completed.reset();
    else if (!task.completed)
        task.completed = now;
}

Task taskFromJson(const json& stored) {
    Task task;
    task.id = stored.at("id").get<int>();
    task.created = fromMilliseconds(stored.at("createdAt").get<std::int64_t>());
    if (!stored.at("completedAt").is_null())
        task.completed = fromMilliseconds(stored.at("completedAt").get<std::int64_t>());
    apply(task, stored, task.created);
    return task;
}

json orNull(const std::string& text) {
    return text.empty() ? json(nullptr) : json(text);
}

/// The task of that id among `tasks`, which may or may not be constant.
template <class TaskRange>
auto locate(TaskRange& tasks, int id) {
    const auto found = std::ranges::find(tasks, id, &Task::id);
    if (found == tasks.end())
        throw Refusal(404, "This task does not exist any more.");
    return found;
}

} // namespace

const Task& Tasks::add(const json& fields, Clock::time_point now) {
    if (tasks_.size() >= maximumTasks)
        throw Refusal(400, "There is no room for more tasks.");
    Task task;
    task.list = "Inbox";
    task.created = now;
    apply(task, fields, now);
    task.id = nextId_++;
    return tasks_.emplace_back(std::move(task));
}

std::span<const Task> Tasks::addAll(const json& list, Clock::time_point now) {
    if (!list.is_array() || list.empty())
        throw Refusal(400, "There are no tasks to add.");
    if (list.size() > maximumAtOnce)
        throw Refusal(400, "At most 1000 tasks can be added at once.");
    Tasks grown = *this;
    for (std::size_t place = 0; place < list.size(); ++place) {
        try {
            grown.add(list[place], now);
        } catch (const Refusal& refusal) {
            throw Refusal(refusal.status(), "Task " + std::to_string(place + 1) + ": " + refusal.what());
        }
    }
    *this = std::move(grown);
    return std::span(tasks_).last(list.size());
}

const Task& Tasks::change(int id, const json& fields, Clock::time_point now) {
    Task& task = *locate(tasks_, id);
    Task changed = task;
    apply(changed, fields, now);
    task = std::move(changed);
    return task;
}

const Task& Tasks::find(int id) const {
    return *locate(tasks_, id);
}

void Tasks::remove(int id) {
    tasks_.erase(locate(tasks_, id));
}

std::size_t Tasks::removeAll(const json& ids) {
    const auto isId = [](const json& id) { return id.is_number_integer(); };
    if (!ids.is_array() || !std::ranges::all_of(ids, isId))
        throw Refusal(400, "The request lacks the list \"ids\".");
    const std::set<std::int64_t> unwanted = ids.get<std::set<std::int64_t>>();
    return std::erase_if(tasks_, [&](const Task& task) { return unwanted.contains(task.id); });
}

json Tasks::toJson() const {
    json tasks = json::array();
    for (const Task& task : tasks_)
        tasks.push_back(taskToJson(task));
    return {{"next", nextId_}, {"tasks", std::move(tasks)}};
}

Tasks Tasks::fromJson(const json& stored) {
    Tasks result;
    result.nextId_ = stored.at("next").get<int>();
    for (const json& task : stored.at("tasks"))
        result.tasks_.push_back(taskFromJson(task));
    for (const Task& task : result.tasks_)
        result.nextId_ = std::max(result.nextId_, task.id + 1);
    return result;
}

json taskToJson(const Task& task) {
    return {{"id", task.id},
            {"title", task.title},
            {"notes", task.notes},
            {"list", task.list},
            {"status", statusNames[static_cast<std::size_t>(task.status)]},
            {"dueDate", orNull(task.dueDate)},
            {"dueTime", orNull(task.dueTime)},
            {"createdAt", toMilliseconds(task.created)},
            {"completedAt", task.completed ? json(toMilliseconds(*task.completed)) : json(nullptr)}};
}

} // namespace Demo
