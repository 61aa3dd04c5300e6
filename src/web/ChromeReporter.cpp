#include "web/ChromeReporter.h"

#include <charconv>
#include <cmath>
#include <vector>

namespace {

constexpr double componentLimit = 255;
constexpr double transparent = 0.01;
constexpr std::size_t componentsOfColor = 3;

std::optional<double> decimal(std::string_view text) {
    if (text.starts_with('+'))
        text.remove_prefix(1);
    double number = 0;
    const auto* const end = text.data() + text.size();
    const auto [rest, failure] = std::from_chars(text.data(), end, number);
    if (failure != std::errc() || rest != end || !std::isfinite(number))
        return std::nullopt;
    return number;
}

/// The numbers among the pieces; what else there is (a percentage, the name of a colour space) is skipped.
std::vector<double> numbersIn(std::string_view list) {
    constexpr std::string_view separators = ", /";
    std::vector<double> numbers;
    while (!list.empty()) {
        const auto end = std::min(list.find_first_of(separators), list.size());
        if (const auto number = decimal(list.substr(0, end)))
            numbers.push_back(*number);
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return numbers;
}

Shortcuts textsOf(const Json& object) {
    Shortcuts texts;
    for (const auto& [name, value] : object.items())
        if (value.is_string())
            texts.emplace(name, value.get<std::string>());
    return texts;
}

} // namespace

void ChromeReporter::receive(const Json& body) const {
    if (!body.is_object() || !onReport)
        return;
    Report report;
    if (const auto background = body.find("background"); background != body.end() && background->is_string())
        report.background = colour(background->get_ref<const std::string&>());
    if (const auto shortcuts = body.find("shortcuts"); shortcuts != body.end() && shortcuts->is_object())
        report.shortcuts = textsOf(*shortcuts);
    // The one who is told may let this object go.
    const auto tell = onReport;
    tell(report);
}

std::optional<Color> ChromeReporter::colour(std::string_view text) {
    const auto open = text.find('(');
    const auto close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return std::nullopt;
    const auto numbers = numbersIn(text.substr(open + 1, close - open - 1));
    if (numbers.size() < componentsOfColor)
        return std::nullopt;
    if (numbers.size() > componentsOfColor && !(numbers[componentsOfColor] > transparent))
        return std::nullopt;
    return Color{numbers[0] / componentLimit, numbers[1] / componentLimit, numbers[2] / componentLimit, 1};
}
