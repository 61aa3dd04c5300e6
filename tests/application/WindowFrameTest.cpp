#include "application/WindowFrame.h"

#include "fakes/FakePlatform.h"

#include <gtest/gtest.h>

#include <array>

TEST(WindowFrame, isTheSameAfterARestartAndNothingWhereThePreferencesAreDamaged) {
    FakeUserDefaults defaults;
    for (const auto& kept : {WindowFrame::Kept{{1000, 700}, false}, {{820, 560}, true}}) {
        WindowFrame::save(defaults, kept);
        EXPECT_EQ(WindowFrame::load(defaults), kept);
    }
    defaults.broken = true;
    WindowFrame::save(defaults, {{900, 600}, false});
    EXPECT_EQ(WindowFrame::load(defaults)->size, (Window::Frame{820, 560}));
    auto& stored = defaults.values["brisko.window"];
    for (const auto* damaged :
         {"null", R"("820 560")", "[820, 560]", R"({"width": 900})", R"({"width": 900, "height": "600"})",
          R"({"width": 900.5, "height": 600})", R"({"width": -900, "height": 600})",
          R"({"width": 900, "height": 0})", R"({"width": 900, "height": 18446744073709551615})",
          R"({"width": 65537, "height": 600})"}) {
        stored = parseJson(damaged);
        EXPECT_EQ(WindowFrame::load(defaults), std::nullopt) << damaged;
    }
    stored = parseJson(R"({"width": 65536, "height": 1, "maximized": 1, "x": []})");
    EXPECT_EQ(WindowFrame::load(defaults), (WindowFrame::Kept{{65536, 1}, false}));
}

TEST(WindowFrame, fitsTheMonitorAsFarAsTheMinimumAllows) {
    for (const auto& [size, monitor, fitted] :
         std::vector<std::array<Window::Frame, 3>>{{{{1180, 800}, {1920, 1080}, {1180, 800}}},
                                                   {{{4000, 3000}, {1920, 1080}, {1920, 1080}}},
                                                   {{{100, 3000}, {640, 480}, {820, 560}}}})
        EXPECT_EQ(WindowFrame::fitted(size, monitor), fitted);
}
