#pragma once

#include "platform/Clock.h"
#include "platform/Dock.h"
#include "platform/Json.h"
#include "platform/LocalTime.h"
#include "platform/NotificationCenter.h"
#include "platform/Task.h"

#include <cstddef>
#include <vector>

/// The reminders of the page's tasks, as notifications of the desktop and as a number in the dock.
///
/// The page owns the list and sends all of it each time; what is pending after a sync are exactly its future
/// items.
class Reminders {
public:
    /// What the identifiers of the requests begin with; the task's number in decimal follows.
    static constexpr const char* prefix = "brisko.task.";

    struct Result {
        std::size_t scheduled = 0;
        std::size_t cleared = 0;

        bool operator==(const Result&) const = default;
    };
    struct Plan {
        std::vector<NotificationRequest> requests;
        int dueToday = 0; ///< of them, those before the start of tomorrow
    };

    /// All of it outlives what is under way.
    Reminders(NotificationCenter& center, Dock& dock, const Clock& clock, TimeZone& zone);

    /// Replaces the pending reminders by the future ones of `items` and shows how many of them are due today.
    /// Tells what is really kept: nothing, where the notification centre is missing or cannot store it.
    Task<Result> sync(Json items);

    /// The requests of the items, in their order. An item is `{"id": integer, "title": text, "at":
    /// milliseconds since 1970, "body": text, optional}`; one that is not, or that is not in the future, is
    /// left out, and so is a moment beyond the calendar (292 million years). Numbers are told apart by value,
    /// as the page has only one kind: 7.0 is an integer, 7.5 and what 64 bits do not hold is none, nor is a
    /// boolean.
    static Plan plan(const Json& items, Clock::time_point now, const TimeZone& zone);

private:
    NotificationCenter& center_;
    Dock& dock_;
    const Clock& clock_;
    TimeZone& zone_;
};
