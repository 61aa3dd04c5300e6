#pragma once

#include "platform/UserDefaults.h"
#include "platform/Window.h"

#include <optional>

/// The main window's frame as it is kept from one run to the next, under "brisko.window": an object with the
/// numbers "width" and "height" and the truth value "maximized". The place is the display server's business.
namespace WindowFrame {

struct Kept {
    Window::Frame size; ///< of the window while it is not maximised
    bool maximized = false;

    bool operator==(const Kept&) const = default;
};

inline constexpr Window::Frame standard = {1180, 800}; ///< of the content, below the header
inline constexpr Window::Frame minimum = {820, 560};

/// What is kept; none when there is nothing, or nothing that makes sense.
std::optional<Kept> load(const UserDefaults& defaults);
/// What cannot be stored is not kept, and nobody is told.
void save(UserDefaults& defaults, const Kept& kept);

/// The size nearest to `size` that is neither smaller than the minimum nor, beyond that, larger than the
/// monitor.
Window::Frame fitted(Window::Frame size, Window::Frame monitor);

} // namespace WindowFrame
