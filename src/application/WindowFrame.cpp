#include "application/WindowFrame.h"

#include "platform/Error.h"

#include <algorithm>

namespace {

constexpr auto frameKey = "brisko.window";
/// More than any display has; a larger number is damage.
constexpr std::int64_t largestLength = 1 << 16;

std::optional<int> lengthIn(const Json& kept, const char* name) {
    const auto found = kept.find(name);
    if (found == kept.end() || !found->is_number_integer())
        return std::nullopt;
    const auto length = found->get<std::int64_t>();
    if (length <= 0 || length > largestLength)
        return std::nullopt;
    return static_cast<int>(length);
}

} // namespace

std::optional<WindowFrame::Kept> WindowFrame::load(const UserDefaults& defaults) {
    const auto stored = defaults.value(frameKey);
    if (!stored.is_object())
        return std::nullopt;
    const auto width = lengthIn(stored, "width");
    const auto height = lengthIn(stored, "height");
    if (!width || !height)
        return std::nullopt;
    return Kept{{*width, *height}, stored.value("maximized", Json()) == true};
}

void WindowFrame::save(UserDefaults& defaults, const Kept& kept) {
    try {
        defaults.set(
            frameKey,
            {{"width", kept.size.width}, {"height", kept.size.height}, {"maximized", kept.maximized}});
    } catch (const Error&) {
        return;
    }
}

Window::Frame WindowFrame::fitted(Window::Frame size, Window::Frame monitor) {
    return {std::max(std::min(size.width, monitor.width), minimum.width),
            std::max(std::min(size.height, monitor.height), minimum.height)};
}
