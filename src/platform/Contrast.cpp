#include "platform/Contrast.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr Color black = {0, 0, 0};
constexpr Color white = {1, 1, 1};

double within(double component) {
    return std::isnan(component) ? 0 : std::clamp(component, 0.0, 1.0);
}

Color mixed(const Color& ground, const Color& other, double share) {
    const auto mix = [share](double one, double two) { return one + share * (two - one); };
    return {mix(ground.red, other.red), mix(ground.green, other.green), mix(ground.blue, other.blue)};
}

/// The definition of relative luminance undoes the gamma of sRGB with these numbers.
double linear(double component) {
    return component <= 0.04045 ? component / 12.92 : std::pow((component + 0.055) / 1.055, 2.4);
}

} // namespace

Color Contrast::drawn(Color color) {
    return mixed(Chrome::canvas, {within(color.red), within(color.green), within(color.blue)},
                 within(color.alpha));
}

double Contrast::relativeLuminance(const Color& color) {
    return 0.2126 * linear(color.red) + 0.7152 * linear(color.green) + 0.0722 * linear(color.blue);
}

double Contrast::ratio(const Color& one, const Color& other) {
    constexpr double flare = 0.05;
    const auto [darker, lighter] = std::minmax({relativeLuminance(one), relativeLuminance(other)});
    return (lighter + flare) / (darker + flare);
}

Color Contrast::ink(const Color& ground) {
    return ratio(ground, white) >= ratio(ground, black) ? white : black;
}

Color Contrast::marked(const Color& ground, double strength) {
    constexpr double readable = 4.5;
    const auto text = ink(ground);
    const auto nearer = mixed(ground, text, strength);
    return ratio(nearer, text) >= readable ? nearer : mixed(ground, text == white ? black : white, strength);
}
