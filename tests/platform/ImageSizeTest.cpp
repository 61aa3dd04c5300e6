#include "platform/ImageSize.h"

#include <gtest/gtest.h>

TEST(ImageSize, isReadFromTheHeaderAndOfNothingElse) {
    const auto of = [](std::string_view bytes) {
        const auto size = ImageSize::of(bytes);
        return size ? std::to_string(size->width) + "x" + std::to_string(size->height) : "none";
    };
    constexpr std::string_view png("\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\1\0\2\0\0\0\3", 24);
    constexpr std::string_view jpeg("\xFF\xD8\xFF\xE0\0\4ab\xFF\xC4\0\3c\xFF\xC2\0\x0B\x08\1\0\2\3", 22);
    EXPECT_EQ(of(png) + " " + of(jpeg), "65538x3 515x256");
    for (const auto& whole : {png, jpeg})
        for (std::size_t length = 0; length < whole.size(); ++length)
            EXPECT_EQ(of(whole.substr(0, length)), "none") << length;
    EXPECT_EQ(of("GIF89a\1\0\1\0 and something more behind it"), "none");
    EXPECT_EQ(of(std::string("\xFF\xD8\xFF\xE0\0\0", 6) + std::string(100, '\xFF')), "none");
}
