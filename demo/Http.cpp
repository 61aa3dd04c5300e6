#include "demo/Http.h"

#include <nlohmann/json.hpp>

#include <string_view>

namespace Demo {

std::string Request::header(const std::string& name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? std::string() : found->second;
}

std::optional<std::string> Request::cookie(const std::string& name) const {
    const std::string all = header("cookie");
    std::string_view rest = all;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(';'), rest.size());
        std::string_view pair = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        pair.remove_prefix(std::min(pair.find_first_not_of(' '), pair.size()));
        const std::size_t equals = pair.find('=');
        if (equals != std::string_view::npos && pair.substr(0, equals) == name)
            return std::string(pair.substr(equals + 1));
    }
    return std::nullopt;
}

nlohmann::json Request::object() const {
    auto value = nlohmann::json::parse(body, nullptr, /*allow_exceptions=*/false);
    if (!value.is_object())
        throw Refusal(400, "The request is not a JSON object.");
    return value;
}

Answer Answer::json(unsigned status, const nlohmann::json& value) {
    return {status, "application/json", value.dump(), {}};
}

Answer Answer::html(unsigned status, std::string text) {
    return {status, "text/html; charset=utf-8", std::move(text), {}};
}

Answer Answer::empty() {
    return {204, {}, {}, {}};
}

Answer Answer::redirect(const std::string& location) {
    return {303, {}, {}, {{"Location", location}}};
}

Answer Answer::error(unsigned status, const std::string& sentence) {
    return json(status, {{"error", sentence}});
}

std::string requireText(const nlohmann::json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_string())
        throw Refusal(400, std::string("The request lacks the text \"") + key + "\".");
    return found->get<std::string>();
}

} // namespace Demo
