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
    const auto delivery = schedule_.takeDue(now());
    write(delivery.event);
    const auto server = with_.server.name();
    const auto& identifier = delivery.request.identifier;
    const auto sent =
        co_await with_.server.show(delivery.request, schedule_.deliveries().shown(server, identifier));
    DeliveryEvent event;
    event.identifier = identifier;
    if (sent.outcome == Outcome::shown) {
        event.kind = Kind::shown;
        event.server = server;
        event.id = sent.id;
        note(event);
    } else if (sent.outcome == Outcome::notSent) {
        event.kind = Kind::withdrawn;
        note(event);
        reload();
    }
    co_return sent.outcome != Outcome::notSent;
}

void ReminderAgent::passInSilence() {
    while (schedule_.isAnyDue(now()))
        write(schedule_.takeDue(now()).event);
}

void ReminderAgent::note(const DeliveryEvent& event) {
    schedule_.apply(event);
    write(event);
}

void ReminderAgent::write(const DeliveryEvent& event) {
    try {
        with_.store.append(event);
        logLength_ += 1;
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
    note(event);
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
