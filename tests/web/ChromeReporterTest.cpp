#include "web/ChromeReporter.h"

#include <gtest/gtest.h>

TEST(ChromeReporter, readsTheFirstThreeNumbersOfAColour) {
    for (const auto& [text, red, green, blue] : {std::tuple("rgb(10 20 30 / 40%)", 10.0, 20.0, 30.0),
                                                 {"rgba(1, 2, 3, 0.02)", 1, 2, 3},
                                                 {"rgb(300, -5, 1e1)", 300, -5, 10},
                                                 {"color(srgb 0 .5 +1)", 0, .5, 1},
                                                 {"rgb(nan, inf, 3, 4, 5)", 3, 4, 5},
                                                 {"rgb(1,,2 / / 3)", 1, 2, 3}})
        EXPECT_EQ(ChromeReporter::colour(text), (Color{red / 255, green / 255, blue / 255})) << text;
    for (const auto* none : {"rgba(1, 2, 3, 0.01)", "rgba(1, 2, 3, -1)", "a(b(1,2)3)", "rgb(0x10, 1, 2)",
                             "rgb(1e999, 1, 2)", "rgb(50%, 2, 3)", ")(", "(", ""})
        EXPECT_EQ(ChromeReporter::colour(none), std::nullopt) << none;
}

TEST(ChromeReporter, reportsOnceForEachObjectAndForNothingElse) {
    ChromeReporter reporter;
    reporter.receive(Json::object());
    std::vector<ChromeReporter::Report> reports;
    reporter.onReport = [&](const auto& report) { reports.push_back(report); };
    for (const auto* body : {R"({"background": 7})", R"({"shortcuts": {"newTask": "mod+j", "search": 5}})",
                             R"({"shortcuts": ["a"]})", "null", "\"rgb(1, 2, 3)\""})
        reporter.receive(parseJson(body));
    ASSERT_EQ(reports.size(), 3U);
    EXPECT_FALSE(reports[0].background || reports[0].shortcuts || reports[2].shortcuts);
    EXPECT_EQ(reports[1].shortcuts, (Shortcuts{{"newTask", "mod+j"}}));
}
