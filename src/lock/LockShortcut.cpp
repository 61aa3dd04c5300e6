#include "lock/LockShortcut.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

namespace {

constexpr auto keyKey = "brisko.lock.shortcut.key";
constexpr auto flagsKey = "brisko.lock.shortcut.flags";

constexpr std::pair<KeyModifiers, const char*> symbols[] = {
    {KeyModifier::control, "⌃"},
    {KeyModifier::option, "⌥"},
    {KeyModifier::shift, "⇧"},
    {KeyModifier::command, "⌘"},
};

using Limits = std::numeric_limits<std::int64_t>;

std::int64_t integerOf(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    std::int64_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec == std::errc::result_out_of_range)
        return text.starts_with('-') ? Limits::min() : Limits::max();
    return value;
}

std::int64_t integerOf(double number) {
    // The limit itself is no double; the one above it is a power of two.
    if (number >= static_cast<double>(Limits::max()))
        return Limits::max();
    return number <= static_cast<double>(Limits::min()) ? Limits::min() : static_cast<std::int64_t>(number);
}

/// UserDefaults has the type of the file; this is what the format's own reader makes of it.
std::int64_t integerOf(const Json& stored) {
    if (stored.is_number_unsigned())
        return static_cast<std::int64_t>(std::min<std::uint64_t>(stored.get<std::uint64_t>(), Limits::max()));
    if (stored.is_number_integer())
        return stored.get<std::int64_t>();
    if (stored.is_number_float())
        return integerOf(stored.get<double>());
    if (stored.is_boolean())
        return stored.get<bool>() ? 1 : 0;
    return stored.is_string() ? integerOf(std::string_view(stored.get_ref<const std::string&>())) : 0;
}

} // namespace

std::string LockShortcut::key() const {
    const auto stored = defaults_.value(keyKey);
    return stored.is_string() ? stored.get<std::string>() : std::string(defaultKey);
}

KeyModifiers LockShortcut::flags() const {
    const auto stored = defaults_.value(flagsKey);
    const auto value = integerOf(stored);
    return stored.is_null() || value < 0 ? defaultFlags : static_cast<KeyModifiers>(value);
}

std::string LockShortcut::display() const {
    const auto equivalent = keyEquivalent();
    if (!equivalent)
        return "None";
    std::string text;
    for (const auto& [modifier, symbol] : symbols)
        if (equivalent->modifiers & modifier)
            text += symbol;
    icu::UnicodeString::fromUTF8(equivalent->key).toUpper(icu::Locale::getRoot()).toUTF8String(text);
    return text;
}

std::optional<KeyEquivalent> LockShortcut::keyEquivalent() const {
    const auto stored = key();
    if (stored.empty())
        return std::nullopt;
    return KeyEquivalent{stored, flags()};
}

void LockShortcut::set(const std::string& key, KeyModifiers flags) {
    defaults_.update({{keyKey, key}, {flagsKey, flags}});
}

void LockShortcut::reset() {
    defaults_.update({{keyKey, nullptr}, {flagsKey, nullptr}});
}
