#include "platform/ImageSize.h"

namespace {

/// A big-endian number of so many bytes.
std::uint32_t number(std::string_view bytes, std::size_t at, std::size_t length) {
    std::uint32_t value = 0;
    for (const char byte : bytes.substr(at, length))
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

/// The signature, then the chunk IHDR, which begins with width and height.
std::optional<ImageSize> sizeOfPng(std::string_view bytes) {
    constexpr std::size_t header = 24;
    if (bytes.size() < header || bytes.substr(12, 4) != "IHDR")
        return std::nullopt;
    return ImageSize{number(bytes, 16, 4), number(bytes, 20, 4)};
}

/// A row of segments, each with a marker and its length; that of a frame (SOFn) has height and width.
std::optional<ImageSize> sizeOfJpeg(std::string_view bytes) {
    constexpr std::size_t frame = 9;
    std::size_t at = 2;
    while (at + frame <= bytes.size() && bytes[at] == '\xFF') {
        const auto marker = number(bytes, at + 1, 1);
        const auto isFrame =
            marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (isFrame)
            return ImageSize{number(bytes, at + 7, 2), number(bytes, at + 5, 2)};
        at += 2 + number(bytes, at + 2, 2);
    }
    return std::nullopt;
}

} // namespace

std::optional<ImageSize> ImageSize::of(std::string_view bytes) {
    std::optional<ImageSize> size;
    if (bytes.starts_with("\x89PNG\r\n\x1A\n"))
        size = sizeOfPng(bytes);
    else if (bytes.starts_with("\xFF\xD8"))
        size = sizeOfJpeg(bytes);
    return size && size->width > 0 && size->height > 0 ? size : std::nullopt;
}
