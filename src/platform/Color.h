#pragma once

/// A colour in sRGB, components and opacity from 0 to 1, not premultiplied.
struct Color {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    bool operator==(const Color&) const = default;
};

/// The colours that the native screens share.
namespace Chrome {

/// The dark ground of every native screen, and of the window until a page reports its own: "#0f1115".
inline constexpr Color canvas = Color{0.059, 0.067, 0.082};
/// Active pill, default button, notice, second half of the wordmark.
inline constexpr Color accent = Color{0.5, 0.45, 1.0};
/// Secondary text.
inline constexpr Color ink = Color{0.62, 0.62, 0.62};

} // namespace Chrome
