#include "platform/linux/LocaleInteger.h"

#include "platform/linux/GPtr.h"

#include <langinfo.h>

#include <array>
#include <cstdio>
#include <limits>

namespace {

constexpr std::int64_t base = 10;

/// Removes every one of a locale's separators.
void remove(std::string& text, std::string_view separator) {
    for (std::size_t at = 0; !separator.empty() && (at = text.find(separator, at)) != std::string::npos;)
        text.erase(at, separator.size());
}

} // namespace

std::string LocaleInteger::format(std::int64_t number) {
    constexpr std::size_t longest = 128;
    std::array<char, longest> text{};
    // The C library's flags for the locale's grouping and digits; the compiler does not know the second one.
    const std::string pattern = "%'Ild";
    std::snprintf(text.data(), text.size(), pattern.c_str(), static_cast<long>(number));
    return text.data();
}

std::optional<std::int64_t> LocaleInteger::parse(std::string_view text) {
    std::string plain(text);
    remove(plain, nl_langinfo(THOUSEP));
    if (!g_utf8_validate(plain.c_str(), static_cast<gssize>(plain.size()), nullptr))
        return std::nullopt;
    const GText trimmed(g_strstrip(g_strdup(plain.c_str())));
    const auto* at = trimmed.get();
    constexpr gunichar minus = 0x2212;
    const auto sign = g_utf8_get_char(at);
    const auto negative = sign == '-' || sign == minus;
    if (negative || sign == '+')
        at = g_utf8_next_char(at);
    if (*at == '\0')
        return std::nullopt;
    std::int64_t value = 0;
    for (; *at != '\0'; at = g_utf8_next_char(at)) {
        const auto digit = g_unichar_digit_value(g_utf8_get_char(at));
        if (digit < 0)
            return std::nullopt;
        if (__builtin_mul_overflow(value, base, &value) ||
            __builtin_sub_overflow(value, static_cast<std::int64_t>(digit), &value))
            value = std::numeric_limits<std::int64_t>::min();
    }
    // Counted downwards, where there is one number more.
    if (negative)
        return value;
    return value == std::numeric_limits<std::int64_t>::min() ? std::numeric_limits<std::int64_t>::max()
                                                             : -value;
}
