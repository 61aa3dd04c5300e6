#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// What counts as a passcode's text. A character is a grapheme cluster, as a person sees it (Unicode Annex
/// 29).
namespace PasscodeText {

/// How many characters the UTF-8 text has.
std::size_t characters(std::string_view text);

/// The characters that are numbers, in order, the first `maximum` of them: those whose first code point has a
/// numeric type, which are the digits of every script and numeric symbols.
std::string numbers(std::string_view text, std::size_t maximum);

} // namespace PasscodeText
