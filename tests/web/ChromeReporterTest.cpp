#include "web/ChromeReporter.h"

#include <gtest/gtest.h>

TEST(ChromeReporter, readsTheFirstThreeNumbersOfAColour) {
    const std::pair<const char*, Color> colours[] = {{"rgb(15, 17, 21)", {15, 17, 21}},
                                                     {"rgba(255, 255, 255, 0.5)", {255, 255, 255}},
                                                     {"rgb(10 20 30 / 40%)", {10, 20, 30}},
                                                     {"rgba(1, 2, 3, 0.02)", {1, 2, 3}},
                                                     {"rgba(1, 2, 3, 1, 0)", {1, 2, 3}},
                                                     {"rgb(300, -5, 1e1)", {300, -5, 10}},
                                                     {"color(srgb 0.5 .25 +1)", {0.5, 0.25, 1}},
                                                     {"rgb(nan, inf, 3, 4, 5)", {3, 4, 5}},
                                                     {"rgb(1,,2 / / 3)", {1, 2, 3}}};
    for (const auto& [text, of255] : colours)
        EXPECT_EQ(ChromeReporter::colour(text), (Color{of255.red / 255, of255.green / 255, of255.blue / 255}))
            << text;
    for (const auto* text :
         {"rgba(1, 2, 3, 0.01)", "rgba(0, 0, 0, 0)", "rgba(1, 2, 3, -1)", "a(b(1,2)3)", "rgb(0x10, 1, 2)",
          "rgb(1e999, 1, 2)", "rgb(50%, 2, 3)", "transparent", "#0f1115", ")(", "(", "()", ""})
        EXPECT_EQ(ChromeReporter::colour(text), std::nullopt) << text;
}

TEST(ChromeReporter, reportsOnceForEachObjectAndForNothingElse) {
    ChromeReporter reporter;
    reporter.receive(Json::object());
    std::vector<ChromeReporter::Report> reports;
    reporter.onReport = [&](const auto& report) { reports.push_back(report); };
    for (const auto* body : {R"({"background": 7})", R"({"shortcuts": {"newTask": "mod+j", "search": 5}})",
                             R"({"shortcuts": {"search": 5}})", R"({"shortcuts": ["a"]})", "{}"})
        reporter.receive(parseJson(body));
    for (const auto* body : {"null", "[]", "\"rgb(1, 2, 3)\"", "1"})
        reporter.receive(parseJson(body));
    ASSERT_EQ(reports.size(), 5U);
    for (const auto& report : reports)
        EXPECT_FALSE(report.background);
    EXPECT_FALSE(reports[0].shortcuts);
    EXPECT_EQ(reports[1].shortcuts, (Shortcuts{{"newTask", "mod+j"}}));
    EXPECT_EQ(reports[2].shortcuts, Shortcuts());
    EXPECT_FALSE(reports[3].shortcuts || reports[4].shortcuts);
}
