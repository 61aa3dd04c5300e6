#include "platform/Contrast.h"

#include <gtest/gtest.h>

#include <limits>

TEST(Contrast, isMeasuredAsTheGuidelinesSay) {
    EXPECT_NEAR(Contrast::ratio({1, 0, 0}, {1, 1, 1}), 3.998, 1e-3);
    constexpr auto nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(Contrast::drawn({2, -1, nan, 1}), (Color{1, 0, 0}));
    EXPECT_EQ(Contrast::drawn({1, 1, 1, 0}), Chrome::canvas);
}

TEST(Contrast, ofTheInkIsEnoughToReadOnEveryColourAndOnItsMarks) {
    constexpr int steps = 16;
    for (int number = 0; number < steps * steps * steps; ++number) {
        const auto part = [number](int unit) { return double(number / unit % steps) / (steps - 1); };
        const Color ground = {part(1), part(steps), part(steps * steps)};
        for (const auto& drawn : {ground, Contrast::marked(ground, 0.1), Contrast::marked(ground, 0.2)})
            ASSERT_GE(Contrast::ratio(drawn, Contrast::ink(ground)), 4.5) << number;
    }
    EXPECT_EQ(Contrast::marked({0, 0, 0}, 0.25), (Color{0.25, 0.25, 0.25}));
    EXPECT_EQ(Contrast::ink(Chrome::canvas), (Color{1, 1, 1}));
    EXPECT_EQ(Contrast::ink({1, 1, 0}), (Color{0, 0, 0}));
}
