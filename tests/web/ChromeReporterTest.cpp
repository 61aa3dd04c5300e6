#include "web/ChromeReporter.h"

#include <gtest/gtest.h>

TEST(ChromeReporter, readsTheFirstThreeNumbersOfAColour) {
    const auto rgb = [](double red, double green, double blue) {
        return Color{red / 255, green / 255, blue / 255};
    };
    for (const auto& [text, colour] :
         {std::pair("rgb(10 20 30 / 40%)", rgb(10, 20, 30)), std::pair("rgba(1, 2, 3, 0.02)", rgb(1, 2, 3)),
          std::pair("rgba(1, 2, 3, 1, 0)", rgb(1, 2, 3)), std::pair("rgb(300, -5, 1e1)", rgb(300, -5, 10)),
          std::pair("color(srgb 0.5 .25 +1)", rgb(0.5, 0.25, 1)),
          std::pair("rgb(nan, inf, 3, 4, 5)", rgb(3, 4, 5)), std::pair("rgb(1,,2 / / 3)", rgb(1, 2, 3))})
        EXPECT_EQ(ChromeReporter::colour(text), colour) << text;
    for (const auto* none : {"rgba(1, 2, 3, 0.01)", "rgba(1, 2, 3, -1)", "a(b(1,2)3)", "rgb(0x10, 1, 2)",
                             "rgb(1e999, 1, 2)", "rgb(50%, 2, 3)", "transparent", "#0f1115", ")(", "(", ""})
        EXPECT_EQ(ChromeReporter::colour(none), std::nullopt) << none;
}

TEST(ChromeReporter, reportsOnceForEachObjectAndForNothingElse) {
    ChromeReporter reporter;
    reporter.receive(Json::object());
    std::vector<ChromeReporter::Report> reports;
    reporter.onReport = [&](const auto& report) { reports.push_back(report); };
    for (const auto* body : {R"({"background": 7})", R"({"shortcuts": {"newTask": "mod+j", "search": 5}})",
                             R"({"shortcuts": {"search": 5}})", R"({"shortcuts": ["a"]})", "null", "[]",
                             "\"rgb(1, 2, 3)\"", "1", "{}"})
        reporter.receive(parseJson(body));
    ASSERT_EQ(reports.size(), 5U);
    EXPECT_FALSE(reports[0].background || reports[0].shortcuts);
    EXPECT_EQ(reports[1].shortcuts, (Shortcuts{{"newTask", "mod+j"}}));
    EXPECT_EQ(reports[2].shortcuts, Shortcuts());
    EXPECT_FALSE(reports[3].shortcuts || reports[4].shortcuts);
}
