#pragma once

#include "platform/LocalTime.h"
#include "platform/NotificationCenter.h"
#include "reminders/agent/Deliveries.h"
#include "reminders/agent/PendingList.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Which reminders are still to be shown, and when. Pure: it knows the time only by being told.
///
/// A reminder's minute is one of the local clock's. It is looked up again when the time zone changes; where
/// clocks are set back over it, the one that was still to come when the request was made is meant.
///
/// One that is overdue by a day or more is not shown, but stays until it is replaced, as the clock may be
/// wrong.
class ReminderSchedule {
public:
    using Moment = std::chrono::sys_seconds;

    static constexpr std::chrono::hours patience{24}; ///< for a reminder that could not be shown

    /// The zone outlives the schedule.
    explicit ReminderSchedule(const TimeZone& zone) : zone_(zone) {}

    void apply(const DeliveryEvent& event) { deliveries_.apply(event); }
    /// Takes the place of the list before. What has been delivered of it is left out.
    void adopt(PendingList list);
    void timeZoneChanged();

    bool isAnyPending(Moment now) const;
    bool isAnyDue(Moment now) const { return countDue(now) > 0; }
    std::size_t countDue(Moment now) const;
    /// When something comes due that is not due yet.
    std::optional<Moment> nextAfter(Moment now) const;
    /// In the order in which they come.
    std::vector<std::string> pendingIdentifiers(Moment now) const;
    std::size_t countPending(std::string_view prefix, Moment now) const;

    struct Delivery {
        NotificationRequest request;
        DeliveryEvent event; ///< that it is being delivered, which is applied already
    };
    /// Takes out the first that is due; there is one.
    Delivery takeDue(Moment now);

    /// The list after a replacement, as NotificationCenter::replace says.
    PendingList listAfter(std::string_view prefix, std::vector<NotificationRequest> requests,
                          std::vector<std::string> command, Moment now) const;
    /// Whether the list that is stored already says what `list` says.
    bool isAsBefore(const PendingList& list) const;

    const Deliveries& deliveries() const { return deliveries_; }
    const std::vector<std::string>& command() const { return command_; }

private:
    using Waiting = std::multimap<Moment, PendingList::Reminder>;

    Waiting::const_iterator firstPending(Moment now) const { return waiting_.upper_bound(now - patience); }
    void arrange(const std::vector<PendingList::Reminder>& reminders);

    const TimeZone& zone_;
    Deliveries deliveries_;
    Waiting waiting_;        ///< what has not been delivered, by the moment at which it is due
    std::size_t stored_ = 0; ///< the length of the list on disk, delivered ones included
    std::uint64_t sync_ = 0;
    std::vector<std::string> command_;
};
