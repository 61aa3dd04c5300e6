#include "application/WindowFrame.h"

#include "fakes/FakePlatform.h"

#include <gtest/gtest.h>

#include <array>

TEST(WindowFrame, isTheSameAfterARestart) {
    FakeUserDefaults defaults;
    EXPECT_EQ(WindowFrame::load(defaults), std::nullopt);
    for (const auto& kept : {WindowFrame::Kept{{1000, 700}, false}, {{820, 560}, true}}) {
        WindowFrame::save(defaults, kept);
        EXPECT_EQ(WindowFrame::load(defaults), kept);
    }
    defaults.broken = true;
    WindowFrame::save(defaults, {{900, 600}, false});
    EXPECT_EQ(WindowFrame::load(defaults)->size, (Window::Frame{820, 560}));
}

TEST(WindowFrame, isNothingWhereThePreferencesAreDamaged) {
    FakeUserDefaults defaults;
    for (const auto* damaged :
         {"null", "1", R"("820 560")", "[820, 560]", "{}", R"({"width": 900})",
          R"({"width": 900, "height": "600"})", R"({"width": 900.5, "height": 600})",
          R"({"width": -900, "height": 600})", R"({"width": 900, "height": 0})",
          R"({"width": 900, "height": 18446744073709551615})", R"({"width": 4294967396, "height": 600})"}) {
        defaults.values["brisko.window"] = parseJson(damaged);
        EXPECT_EQ(WindowFrame::load(defaults), std::nullopt) << damaged;
    }
    defaults.values["brisko.window"] = parseJson(R"({"width": 900, "height": 600, "maximized": 1, "x": []})");
    EXPECT_EQ(WindowFrame::load(defaults), (WindowFrame::Kept{{900, 600}, false}));
}

TEST(WindowFrame, fitsTheMonitorAsFarAsTheMinimumAllows) {
    for (const auto& [size, monitor, fitted] :
         std::vector<std::array<Window::Frame, 3>>{{{{1180, 800}, {1920, 1080}, {1180, 800}}},
                                                   {{{4000, 3000}, {1920, 1080}, {1920, 1080}}},
                                                   {{{100, 3000}, {1920, 1080}, {820, 1080}}},
                                                   {{{1180, 800}, {640, 480}, {820, 560}}}})
        EXPECT_EQ(WindowFrame::fitted(size, monitor), fitted);
}
