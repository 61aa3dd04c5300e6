#include "reminders/agent/PendingList.h"

#include "platform/WholeNumber.h"

#include <utility>

namespace {

constexpr int version = 1;
constexpr auto ellipsis = "…";
constexpr int firstYear = 1970;
constexpr std::size_t triggerParts = 5;

/// At most so many bytes of the text, whole characters.
std::string cut(const std::string& text, std::size_t limit) {
    if (text.size() <= limit)
        return text;
    const auto continues = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
    auto end = limit;
    while (end > 0 && continues(text[end]))
        --end;
    return text.substr(0, end) + ellipsis;
}

std::string dump(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json jsonOf(const NotificationRequest& request) {
    const auto& at = request.trigger;
    Json json = {{"identifier", request.identifier},
                 {"title", cut(request.title, RequestText::titleLimit)},
                 {"taskId", request.taskId},
                 {"at", {at.year, at.month, at.day, at.hour, at.minute}}};
    if (request.body)
        json["body"] = cut(*request.body, RequestText::bodyLimit);
    return json;
}

bool isMinute(const LocalMinute& minute) {
    const auto within = [](int value, int least, int most) { return least <= value && value <= most; };
    return minute.year >= firstYear && within(minute.month, 1, 12) && within(minute.day, 1, 31) &&
           within(minute.hour, 0, 23) && within(minute.minute, 0, 59);
}

/// Throws Json::exception when it is something else.
NotificationRequest requestOf(const Json& json) {
    const auto at = json.at("at").get<std::vector<Json>>();
    NotificationRequest request;
    request.identifier = json.at("identifier").get<std::string>();
    request.title = json.at("title").get<std::string>();
    if (json.contains("body"))
        request.body = json["body"].get<std::string>();
    request.taskId = wholeNumber<std::int64_t>(json.at("taskId"));
    if (at.size() == triggerParts)
        request.trigger = {wholeNumber<int>(at[0]), wholeNumber<int>(at[1]), wholeNumber<int>(at[2]),
                           wholeNumber<int>(at[3]), wholeNumber<int>(at[4])};
    if (!isMinute(request.trigger))
        throw Json::other_error::create(0, "not a minute", &json);
    return request;
}

} // namespace

std::string RequestText::encode(const std::vector<NotificationRequest>& requests) {
    auto json = Json::array();
    for (const auto& request : requests)
        json.push_back(jsonOf(request));
    return dump(json);
}

std::optional<std::vector<NotificationRequest>> RequestText::decode(std::string_view text) {
    const auto json = parseJson(text);
    if (!json.is_array())
        return std::nullopt;
    try {
        std::vector<NotificationRequest> requests;
        for (const auto& item : json)
            requests.push_back(requestOf(item));
        return requests;
    } catch (const Json::exception&) {
        return std::nullopt;
    }
}

std::string PendingList::encode() const {
    auto list = Json::array();
    for (const auto& [request, added] : reminders) {
        auto json = jsonOf(request);
        json["added"] = added.time_since_epoch().count();
        list.push_back(std::move(json));
    }
    return dump({{"version", version}, {"sync", sync}, {"command", command}, {"reminders", list}}) + "\n";
}

std::optional<PendingList> PendingList::decode(std::string_view text) {
    const auto json = parseJson(text);
    try {
        if (json.at("version") != version)
            return std::nullopt;
        PendingList list;
        list.sync = wholeNumber<std::uint64_t>(json.at("sync"));
        list.command = json.at("command").get<std::vector<std::string>>();
        for (const auto& item : json.at("reminders")) {
            const std::chrono::seconds added(wholeNumber<std::int64_t>(item.at("added")));
            list.reminders.push_back({requestOf(item), std::chrono::sys_seconds(added)});
        }
        return list;
    } catch (const Json::exception&) {
        return std::nullopt;
    }
}
