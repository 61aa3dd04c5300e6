#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// How many pixels an image has, as its header says: before anybody decodes it, which takes the memory for
/// all of them.
struct ImageSize {
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    /// None for anything but a PNG (ISO/IEC 15948) or a JPEG (ITU-T T.81) with a size.
    static std::optional<ImageSize> of(std::string_view bytes);
};
