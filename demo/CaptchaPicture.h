#pragma once

#include <string>

namespace Demo {

/// Draws the text for people to read off: each character turned, shifted and crossed by lines, differently
/// every time.
///
/// Returns a PNG file of 300 by 114 pixels, three times the size at which it is shown. Throws
/// std::runtime_error when it cannot be drawn.
std::string drawCaptcha(const std::string& text);

} // namespace Demo
