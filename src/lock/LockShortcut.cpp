#include "lock/LockShortcut.h"

#include "platform/StoredValue.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <cstdint>
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

} // namespace

std::string LockShortcut::key() const {
    const auto stored = defaults_.value(keyKey);
    return stored.is_string() ? stored.get<std::string>() : std::string(defaultKey);
}

KeyModifiers LockShortcut::flags() const {
    const auto stored = defaults_.value(flagsKey);
    const auto value = StoredValue::integer(stored);
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
