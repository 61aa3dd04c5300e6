#include "platform/StoredValue.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>
#include <string_view>

namespace {

using Limits = std::numeric_limits<std::int64_t>;

std::string_view withoutSpace(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    return text;
}

std::int64_t integerOf(std::string_view text) {
    text = withoutSpace(text);
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

bool booleanOf(std::string_view text) {
    text = withoutSpace(text);
    if (text.starts_with('+') || text.starts_with('-'))
        text.remove_prefix(1);
    text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
    return text.find_first_of("YyTt123456789") == 0;
}

} // namespace

std::int64_t StoredValue::integer(const Json& stored) {
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

bool StoredValue::boolean(const Json& stored) {
    if (stored.is_number_float())
        return stored.get<double>() != 0;
    return stored.is_string() ? booleanOf(stored.get_ref<const std::string&>()) : integer(stored) != 0;
}
