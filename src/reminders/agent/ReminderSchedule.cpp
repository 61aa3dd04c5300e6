#include "reminders/agent/ReminderSchedule.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace {

using namespace std::chrono_literals;
using Reminder = PendingList::Reminder;

/// The moment at which a reminder is due: the first that had not passed when the request was made.
ReminderSchedule::Moment momentOf(const Reminder& reminder, const TimeZone& zone) {
    const auto moments = LocalTime::momentsOf(reminder.request.trigger, zone);
    const auto next = std::find_if(moments.begin(), moments.end(),
                                   [&](const auto& moment) { return moment + 1min > reminder.added; });
    return next == moments.end() ? moments.back() : *next;
}

} // namespace

void ReminderSchedule::adopt(PendingList list) {
    sync_ = list.sync;
    stored_ = list.reminders.size();
    command_ = std::move(list.command);
    arrange(list.reminders);
}

void ReminderSchedule::timeZoneChanged() {
    std::vector<Reminder> reminders;
    for (auto& [moment, reminder] : waiting_)
        reminders.push_back(std::move(reminder));
    arrange(reminders);
}

void ReminderSchedule::arrange(const std::vector<Reminder>& reminders) {
    waiting_.clear();
    for (const auto& reminder : reminders) {
        const auto moment = momentOf(reminder, zone_);
        if (!deliveries_.covers(reminder.request.identifier, sync_, moment))
            waiting_.emplace(moment, reminder);
    }
}

bool ReminderSchedule::isAnyPending(Moment now) const {
    return firstPending(now) != waiting_.end();
}

std::size_t ReminderSchedule::countDue(Moment now) const {
    return static_cast<std::size_t>(std::distance(firstPending(now), waiting_.upper_bound(now)));
}

std::optional<ReminderSchedule::Moment> ReminderSchedule::nextAfter(Moment now) const {
    const auto next = waiting_.upper_bound(now);
    return next == waiting_.end() ? std::nullopt : std::optional(next->first);
}

std::vector<std::string> ReminderSchedule::pendingIdentifiers(Moment now) const {
    std::vector<std::string> identifiers;
    for (auto entry = firstPending(now); entry != waiting_.end(); ++entry)
        identifiers.push_back(entry->second.request.identifier);
    return identifiers;
}

std::size_t ReminderSchedule::countPending(std::string_view prefix, Moment now) const {
    return static_cast<std::size_t>(std::count_if(firstPending(now), waiting_.end(), [&](const auto& entry) {
        return entry.second.request.identifier.starts_with(prefix);
    }));
}

ReminderSchedule::Delivery ReminderSchedule::takeDue(Moment now) {
    const auto first = firstPending(now);
    Delivery delivery;
    delivery.request = first->second.request;
    delivery.event.kind = DeliveryEvent::Kind::delivered;
    delivery.event.identifier = delivery.request.identifier;
    delivery.event.sync = sync_;
    delivery.event.moment = first->first;
    waiting_.erase(first);
    deliveries_.apply(delivery.event);
    return delivery;
}

PendingList ReminderSchedule::listAfter(std::string_view prefix, std::vector<NotificationRequest> requests,
                                        std::vector<std::string> command, Moment now) const {
    PendingList list;
    // The list and the log may not be of the same age, and a number must not come up twice.
    list.sync = std::max(sync_, deliveries_.latestSync()) + 1;
    list.command = std::move(command);
    for (const auto& [moment, reminder] : waiting_)
        if (!reminder.request.identifier.starts_with(prefix))
            list.reminders.push_back(reminder);
    std::unordered_map<std::string, std::size_t> places;
    for (const auto& reminder : list.reminders)
        places.emplace(reminder.request.identifier, places.size());
    for (auto& request : requests) {
        const auto [entry, isNew] = places.emplace(request.identifier, list.reminders.size());
        Reminder reminder = {std::move(request), now};
        if (isNew)
            list.reminders.push_back(std::move(reminder));
        else
            list.reminders[entry->second] = std::move(reminder);
    }
    return list;
}

bool ReminderSchedule::isAsBefore(const PendingList& list) const {
    // What has been delivered goes from the disk with the next replacement.
    if (list.command != command_ || list.reminders.size() != waiting_.size() || stored_ != waiting_.size())
        return false;
    std::unordered_map<std::string_view, const NotificationRequest*> before;
    for (const auto& [moment, reminder] : waiting_)
        before.emplace(reminder.request.identifier, &reminder.request);
    return std::all_of(list.reminders.begin(), list.reminders.end(), [&](const Reminder& reminder) {
        const auto found = before.find(reminder.request.identifier);
        return found != before.end() && *found->second == reminder.request;
    });
}
