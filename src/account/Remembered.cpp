#include "account/Remembered.h"

#include "platform/Error.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace {

constexpr auto usernameKey = "brisko.lastUsername";

std::string trimmed(const std::string& text) {
    auto unicode = icu::UnicodeString::fromUTF8(text);
    std::string result;
    int32_t begin = 0;
    auto end = unicode.length();
    while (begin < end && u_isUWhiteSpace(unicode.char32At(begin)))
        begin = unicode.moveIndex32(begin, 1);
    while (end > begin && u_isUWhiteSpace(unicode.char32At(end - 1)))
        end = unicode.moveIndex32(end, -1);
    unicode.tempSubStringBetween(begin, end).toUTF8String(result);
    return result;
}

} // namespace

std::string Remembered::username() const {
    const auto stored = defaults_.value(usernameKey);
    return stored.is_string() ? stored.get<std::string>() : std::string();
}

void Remembered::setUsername(const std::string& name) {
    const auto kept = trimmed(name);
    try {
        if (kept.empty())
            defaults_.remove(usernameKey);
        else
            defaults_.set(usernameKey, kept);
    } catch (const Error&) {
        // Told nowhere: the sign-in that it belongs to has succeeded.
        return;
    }
}
