#include "reminders/agent/ReminderAgent.h"

#include "platform/Error.h"

#include <algorithm>
#include <utility>

namespace {

using namespace std::chrono_literals;
using Kind = DeliveryEvent::Kind;
using Outcome = NotificationServer::Outcome;

/// No change of the time zone moves a minute by more than a day and a few hours, so what was due earlier than
/// this cannot come up again.
constexpr auto memory = 72h;
constexpr std::size_t longLog = 1000; ///< lines
/// More than anybody reads one by one, as after a long absence.
constexpr std::size_t mostAtOnce = 20;
constexpr std::size_t titlesInSummary = 3;

/// One notification for all of them.
NotificationRequest summaryOf(const std::vector<ReminderSchedule::Delivery>& deliveries) {
    NotificationRequest request;
    request.identifier = "brisko.reminders";
    request.title = std::to_string(deliveries.size()) + " reminders";
    request.body.emplace();
    for (std::size_t index = 0; index < titlesInSummary; ++index)
        *request.body += deliveries[index].request.title + "\n";
    *request.body += "…";
    return request;
}

} // namespace

ReminderAgent::ReminderAgent(const Surroundings& surroundings)
    : with_(surroundings), schedule_(surroundings.zone) {
    const auto events = with_.store.loadDeliveries();
    for (const auto& event : events)
        schedule_.apply(event);
    logLength_ = events.size();
    schedule_.adopt(with_.store.loadPending());
}

void ReminderAgent::start() {
    with_.alarm.onRing = [this] { wake(); };
    with_.server.onAppeared = [this] {
        serverIsKnown_ = true;
        wake();
    };
    with_.server.onVanished = [this] {
        serverIsKnown_ = true;
        settle();
    };
    with_.server.onOpened = [this](std::uint32_t id, std::string token) { opened(id, std::move(token)); };
    with_.server.onClosed = [this](std::uint32_t id) { closed(id); };
    shortenLog();
    wake();
}

NotificationCenter::Replaced ReminderAgent::replace(std::string_view prefix,
                                                    std::vector<NotificationRequest> requests,
                                                    std::vector<std::string> command) {
    NotificationCenter::Replaced replaced;
    replaced.removed = schedule_.countPending(prefix, now());
    replaced.added = requests.size();
    auto list = schedule_.listAfter(prefix, std::move(requests), std::move(command), now());
    if (schedule_.isAsBefore(list))
        return replaced;
    try {
        with_.store.savePending(list);
    } catch (const Error&) {
        return {};
    }
    schedule_.adopt(std::move(list));
    shortenLog();
    wake();
    return replaced;
}

bool ReminderAgent::isNeeded() const {
    return !serverIsKnown_ || delivering_ || schedule_.isAnyPending(now()) ||
           schedule_.deliveries().isAnyShown(with_.server.name());
}

void ReminderAgent::timeZoneChanged() {
    schedule_.timeZoneChanged();
    wake();
}

std::chrono::sys_seconds ReminderAgent::now() const {
    return std::chrono::floor<std::chrono::seconds>(with_.clock.now());
}

void ReminderAgent::wake() {
    if (!delivering_)
        spawn(deliverAll());
}

Task<> ReminderAgent::deliverAll() {
    delivering_ = true;
    const auto isAnyDue = [this] { return schedule_.isAnyDue(looked_ = now()); };
    for (bool goesOn = true; goesOn && isAnyDue();) {
        if (!with_.store.isPermitted())
            passInSilence();
        goesOn = co_await deliverNext();
    }
    delivering_ = false;
    settle();
}

/// False when there is nobody to show anything.
Task<bool> ReminderAgent::deliverNext() {
    if (!schedule_.isAnyDue(now()))
        co_return true;
    const auto isReady = co_await with_.server.prepare();
    // The list may be another one by now.
    if (!isReady || !schedule_.isAnyDue(now()))
        co_return isReady;
    const auto isFlood = schedule_.countDue(now()) > mostAtOnce;
    const auto deliveries = takeDue(isFlood ? schedule_.countDue(now()) : 1);
    const auto server = with_.server.name();
    const auto request = isFlood ? summaryOf(deliveries) : deliveries.front().request;
    const auto sent =
        co_await with_.server.show(request, schedule_.deliveries().shown(server, request.identifier));
    if (sent.outcome == Outcome::shown) {
        DeliveryEvent event;
        event.identifier = request.identifier;
        event.kind = Kind::shown;
        event.server = server;
        event.id = sent.id;
        note({event});
    } else if (sent.outcome == Outcome::notSent) {
        std::vector<DeliveryEvent> withdrawn;
        for (const auto& delivery : deliveries) {
            withdrawn.push_back({});
            withdrawn.back().kind = Kind::withdrawn;
            withdrawn.back().identifier = delivery.request.identifier;
        }
        note(withdrawn);
        reload();
    }
    co_return sent.outcome != Outcome::notSent;
}

/// That they are being delivered is on disk when this returns.
std::vector<ReminderSchedule::Delivery> ReminderAgent::takeDue(std::size_t most) {
    std::vector<ReminderSchedule::Delivery> deliveries;
    std::vector<DeliveryEvent> events;
    while (deliveries.size() < most && schedule_.isAnyDue(now())) {
        deliveries.push_back(schedule_.takeDue(now()));
        events.push_back(deliveries.back().event);
    }
    write(events);
    return deliveries;
}

void ReminderAgent::passInSilence() {
    takeDue(schedule_.countDue(now()));
}

void ReminderAgent::note(const std::vector<DeliveryEvent>& events) {
    for (const auto& event : events)
        schedule_.apply(event);
    write(events);
}

void ReminderAgent::write(const std::vector<DeliveryEvent>& events) {
    try {
        with_.store.append(events);
        logLength_ += events.size();
    } catch (const Error&) {
        // It is known until the agent ends.
    }
}

/// Takes back what has been withdrawn. The list may have been replaced meanwhile, and the disk has all of it.
void ReminderAgent::reload() {
    try {
        schedule_.adopt(with_.store.loadPending());
    } catch (const Error&) {
        // What is known stands.
    }
}

void ReminderAgent::shortenLog() {
    if (logLength_ < longLog)
        return;
    try {
        const auto events = schedule_.deliveries().summary(now() - memory, with_.server.name());
        with_.store.restartLog(events);
        logLength_ = events.size();
    } catch (const Error&) {
        // The long one stands.
    }
}

void ReminderAgent::opened(std::uint32_t id, std::string token) {
    if (!schedule_.deliveries().identifierOf(with_.server.name(), id))
        return;
    with_.launcher.open(schedule_.command(), std::move(token));
    // Some desktops leave an opened notification where it is.
    with_.server.close(id);
    closed(id);
}

void ReminderAgent::closed(std::uint32_t id) {
    const auto identifier = schedule_.deliveries().identifierOf(with_.server.name(), id);
    if (!identifier)
        return;
    DeliveryEvent event;
    event.kind = Kind::closed;
    event.identifier = *identifier;
    note({event});
    settle();
}

/// Waits for what comes next: for a moment that has passed since the last look too.
void ReminderAgent::settle() {
    with_.alarm.set(schedule_.nextAfter(std::min(looked_, now())));
    with_.server.listen(schedule_.deliveries().isAnyShown(with_.server.name())
                            ? NotificationServer::Listening::on
                            : NotificationServer::Listening::off);
    if (onChange)
        onChange();
}
