#include "reminders/Reminders.h"

#include <cmath>
#include <optional>
#include <utility>

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;
using std::chrono::sys_seconds;

/// One past the largest integer of 64 bits; a double has it exactly.
constexpr double pastIntegers = 9223372036854775808.0;

const Json* find(const Json& item, const char* key) {
    const auto found = item.find(key);
    return found == item.end() ? nullptr : &*found;
}

std::optional<std::int64_t> integerOf(const Json* value) {
    if (!value)
        return std::nullopt;
    if (value->is_number_float()) {
        const auto number = value->get<double>();
        if (std::trunc(number) != number || number < -pastIntegers || number >= pastIntegers)
            return std::nullopt;
        return static_cast<std::int64_t>(number);
    }
    if (!value->is_number_integer() ||
        (value->is_number_unsigned() && !std::in_range<std::int64_t>(value->get<std::uint64_t>())))
        return std::nullopt;
    return value->get<std::int64_t>();
}

/// The moment in whole seconds; none unless it is a number and later than now.
std::optional<sys_seconds> futureOf(const Json* at, Clock::time_point now) {
    if (!at || !at->is_number())
        return std::nullopt;
    const Milliseconds time(at->get<double>());
    // Put so that what is not a number is not later either.
    if (!(time > Milliseconds(now.time_since_epoch())) || time.count() >= pastIntegers)
        return std::nullopt;
    return sys_seconds(std::chrono::floor<std::chrono::seconds>(time));
}

} // namespace

Reminders::Reminders(NotificationCenter& center, Dock& dock, const Clock& clock, TimeZone& zone)
    : center_(center), dock_(dock), clock_(clock), zone_(zone) {}

Reminders::Plan Reminders::plan(const Json& items, Clock::time_point now, const TimeZone& zone) {
    const auto tomorrow = LocalTime::startOfTomorrow(std::chrono::floor<std::chrono::seconds>(now), zone);
    Plan plan;
    for (const auto& item : items) {
        if (!item.is_object())
            continue;
        const auto id = integerOf(find(item, "id"));
        const auto* title = find(item, "title");
        const auto moment = futureOf(find(item, "at"), now);
        if (!id || !title || !title->is_string() || !moment)
            continue;
        auto& request = plan.requests.emplace_back();
        request.identifier = prefix + std::to_string(*id);
        request.title = title->get<std::string>();
        if (const auto* body = find(item, "body"); body && body->is_string())
            if (const auto& text = body->get_ref<const std::string&>(); !text.empty())
                request.body = text;
        request.taskId = *id;
        request.trigger = LocalTime::minuteOf(*moment, zone);
        plan.dueToday += *moment < tomorrow ? 1 : 0;
    }
    return plan;
}

Task<Reminders::Result> Reminders::sync(Json items) {
    zone_.refresh();
    auto todo = plan(items, clock_.now(), zone_);
    // Before the first wait, so that the number is the last list's, in whatever order the answers come.
    dock_.setBadge(todo.dueToday);
    const auto replaced = co_await center_.replace(prefix, std::move(todo.requests));
    Result result;
    result.scheduled = replaced.added;
    result.cleared = replaced.removed;
    co_return result;
}
