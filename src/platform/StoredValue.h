#pragma once

#include "platform/Json.h"

#include <cstdint>

/// What a reader makes of a stored preference that may be of any type, as a file that a person has edited may
/// hold: the conversions of the preferences' own format (Foundation's NSUserDefaults, integerForKey and
/// boolForKey).
namespace StoredValue {

/// Of a text the digits that it begins with, of a real number the whole part, of true 1, of anything else 0.
/// What is out of range is the limit.
std::int64_t integer(const Json& stored);
/// Whether a number is not 0; whether a text begins with one of "YyTt" or a digit from 1 to 9, after spaces,
/// one sign and zeros. Anything else is false.
bool boolean(const Json& stored);

} // namespace StoredValue
