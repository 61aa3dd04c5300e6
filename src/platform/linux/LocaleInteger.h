#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Whole numbers as the person's locale (LC_NUMERIC) writes them: with its digits and its grouping.
namespace LocaleInteger {

std::string format(std::int64_t number);

/// The number that is written in `text`, in the digits of any script, with spaces around it and with the
/// locale's grouping or without; none when it is not a whole number. What is too large or too small for the
/// type is its limit.
std::optional<std::int64_t> parse(std::string_view text);

} // namespace LocaleInteger
