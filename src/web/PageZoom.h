#pragma once

#include <algorithm>

/// The magnification of the page, 1 being its actual size.
namespace PageZoom {

inline constexpr double actual = 1.0;
inline constexpr double smallest = 0.5;
inline constexpr double largest = 3.0;
inline constexpr double step = 0.1;

/// The next larger and the next smaller one, within the limits.
constexpr double in(double zoom) {
    return std::min(std::max(zoom + step, smallest), largest);
}
constexpr double out(double zoom) {
    return std::min(std::max(zoom - step, smallest), largest);
}

} // namespace PageZoom
