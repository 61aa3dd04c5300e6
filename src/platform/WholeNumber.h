#pragma once

#include "platform/Json.h"

#include <concepts>
#include <cstdint>
#include <utility>

/// The integer that a value of a file is. Throws Json::exception when it is something else, or does not fit:
/// the library's own conversion of a number that does not fit is undefined, or another number.
template <std::integral Integer>
Integer wholeNumber(const Json& value) {
    const auto fits = value.is_number_unsigned()
                          ? std::in_range<Integer>(value.get<std::uint64_t>())
                          : value.is_number_integer() && std::in_range<Integer>(value.get<std::int64_t>());
    if (!fits)
        throw Json::other_error::create(0, "not a whole number that fits", &value);
    return value.get<Integer>();
}
