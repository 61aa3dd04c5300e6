#include "application/WindowFrame.h"

#include "fakes/FakePlatform.h"

#include <gtest/gtest.h>

TEST(WindowFrame, isTheSameAfterARestartNothingWhereThePreferencesAreDamagedAndFitsTheMonitor) {
    FakeUserDefaults defaults;
    for (const auto& kept : {WindowFrame::Kept{{1000, 700}, false}, {{820, 560}, true}}) {
        WindowFrame::save(defaults, kept);
        EXPECT_EQ(WindowFrame::load(defaults), kept);
    }
    defaults.broken = true;
    WindowFrame::save(defaults, {{900, 600}, false});
    EXPECT_EQ(WindowFrame::load(defaults)->size, (Window::Frame{820, 560}));
    for (const auto* damaged :
         {R"({"width": 900})", R"({"width": 900.5, "height": 600})", R"({"width": 900, "height": 0})",
          R"({"width": 900, "height": 18446744073709551615})", R"({"width": 65537, "height": 600})"}) {
        defaults.values["brisko.window"] = parseJson(damaged);
        EXPECT_EQ(WindowFrame::load(defaults), std::nullopt) << damaged;
    }
    EXPECT_EQ(WindowFrame::fitted({1180, 800}, {1920, 1080}), (Window::Frame{1180, 800}));
    EXPECT_EQ(WindowFrame::fitted({4000, 100}, {1920, 1080}), (Window::Frame{1920, 560}));
    EXPECT_EQ(WindowFrame::fitted({100, 3000}, {640, 480}), (Window::Frame{820, 560}));
}
