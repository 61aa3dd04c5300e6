#include "web/ChromeReporter.h"

#include <gtest/gtest.h>

TEST(ChromeReporter, readsTheFirstThreeNumbersOfAColour) {
    for (const auto& [text, red, green, blue] : {std::tuple("rgb(10 20 30 / 40%)", 10.0, 20.0, 30.0),
                                                 {"rgba(1, 2, 3, 0.02)", 1, 2, 3},
                                                 {"rgb(300, -5, 1e1)", 300, -5, 10},
                                                 {"color(srgb 0 .5 +1)", 0, .5, 1},
                                                 {"rgb(1,,2 / / 3)", 1, 2, 3}})
        EXPECT_EQ(ChromeReporter::colour(text), (Color{red / 255, green / 255, blue / 255})) << text;
    for (const auto* none : {"rgba(1, 2, 3, 0.01)", "rgba(1, 2, 3, -1)", "a(b(1,2)3)", "rgb(0x10, 1, 2)",
                             "rgb(1e999, 1, 2)", "rgb(50%, 2, 3)", ")(", "(", ""})
        EXPECT_EQ(ChromeReporter::colour(none), std::nullopt) << none;
}

TEST(ChromeReporter, reportsObjectsOnlyAndOfThemWhatCanBeRead) {
    ChromeReporter reporter;
    reporter.receive(Json::object());
    reporter.onReport = [&](const auto& report) {
        EXPECT_EQ(report.shortcuts, (Shortcuts{{"newTask", "mod+j"}}));
        EXPECT_FALSE(report.background);
    };
    for (const auto* body :
         {R"({"shortcuts": {"newTask": "mod+j", "search": 5}, "background": 7})", "null", "[]"})
        reporter.receive(parseJson(body));
}
