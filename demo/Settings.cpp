#include "demo/Settings.h"

#include "demo/Http.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <vector>

namespace Demo {

namespace {

using nlohmann::json;

constexpr std::array<std::string_view, 6> themes = {"system", "dark", "light", "dusk", "pine", "sand"};
constexpr std::array<std::string_view, 2> views = {"list", "board"};
constexpr std::array<std::string_view, 3> modifiers = {"mod", "alt", "shift"};
constexpr std::size_t comboLength = 40;

std::vector<std::string> split(const std::string& combo) {
    std::vector<std::string> words(1);
    for (const char c : combo) {
        if (c == '+')
            words.emplace_back();
        else
            words.back() += c;
    }
    return words;
}

bool isFunctionKey(const std::string& key) {
    return key.size() > 1 && key[0] == 'F' && key.find_first_not_of("0123456789", 1) == std::string::npos;
}

void checkCombo(const std::string& combo) {
    if (combo.empty())
        return;
    std::vector<std::string> words = split(combo);
    const std::string key = std::move(words.back());
    words.pop_back();
    const std::set<std::string> distinct(words.begin(), words.end());
    const bool known = std::ranges::all_of(
        words, [](const std::string& word) { return std::ranges::find(modifiers, word) != modifiers.end(); });
    const bool printable = std::ranges::none_of(key, [](unsigned char c) { return c <= ' ' || c == 0x7f; });
    if (combo.size() > comboLength || key.empty() || !printable || !known || distinct.size() != words.size())
        throw Refusal(400, "This is not a key combination.");
    // A bare letter would fire whenever somebody types, so only the keys that write nothing may stand alone.
    if (!distinct.contains("mod") && !distinct.contains("alt") && !isFunctionKey(key))
        throw Refusal(400, "A shortcut needs Ctrl or Alt.");
}

void changeShortcuts(std::map<std::string, std::string>& shortcuts, const json& fields) {
    if (!fields.is_object())
        throw Refusal(400, "The shortcuts are not an object.");
    for (auto& [action, combo] : shortcuts) {
        if (!fields.contains(action))
            continue;
        combo = requireText(fields, action.c_str());
        checkCombo(combo);
    }
    std::set<std::string> taken;
    for (const auto& [action, combo] : shortcuts)
        if (!combo.empty() && !taken.insert(combo).second)
            throw Refusal(400, "Two actions cannot share one shortcut.");
}

template <std::size_t size>
void changeChoice(std::string& choice, const json& fields, const char* key,
                  const std::array<std::string_view, size>& choices) {
    if (!fields.contains(key))
        return;
    const std::string value = requireText(fields, key);
    if (std::ranges::find(choices, value) == choices.end())
        throw Refusal(400, std::string("There is no such ") + key + ".");
    choice = value;
}

} // namespace

void Settings::change(const json& fields) {
    Settings changed = *this;
    changeChoice(changed.theme, fields, "theme", themes);
    changeChoice(changed.view, fields, "view", views);
    if (fields.contains("shortcuts"))
        changeShortcuts(changed.shortcuts, fields["shortcuts"]);
    *this = std::move(changed);
}

json Settings::toJson() const {
    return {{"theme", theme}, {"view", view}, {"shortcuts", shortcuts}};
}

} // namespace Demo
