#include "web/ChromeReporter.h"

#include <gtest/gtest.h>

TEST(ChromeReporter, readsTheFirstThreeNumbersOfAColour) {
    struct Case {
        const char* text;
        std::optional<Color> color; // components of 255
    };
    const Case cases[] = {
        {"rgb(15, 17, 21)", Color{15, 17, 21}},
        {"rgba(255, 255, 255, 0.5)", Color{255, 255, 255}},
        {"rgb(10 20 30 / 40%)", Color{10, 20, 30}},
        {"rgba(1, 2, 3, 0.02)", Color{1, 2, 3}},
        {"rgba(1, 2, 3, 0.01)", std::nullopt},
        {"rgba(0, 0, 0, 0)", std::nullopt},
        {"rgba(1, 2, 3, -1)", std::nullopt},
        {"rgba(1, 2, 3, 1, 0)", Color{1, 2, 3}},
        {"rgb(300, -5, 1e1)", Color{300, -5, 10}},
        {"color(srgb 0.5 .25 +1)", Color{0.5, 0.25, 1}},
        {"a(b(1,2)3)", std::nullopt},
        {"rgb(nan, inf, 3, 4, 5)", Color{3, 4, 5}},
        {"rgb(0x10, 1, 2)", std::nullopt},
        {"rgb(1e999, 1, 2)", std::nullopt},
        {"rgb(1,,2 / / 3)", Color{1, 2, 3}},
        {"rgb(50%, 2, 3)", std::nullopt},
        {"transparent", std::nullopt},
        {"#0f1115", std::nullopt},
        {")(", std::nullopt},
        {"(", std::nullopt},
        {"()", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [text, expected] : cases) {
        const auto color = ChromeReporter::colour(text);
        ASSERT_EQ(color.has_value(), expected.has_value()) << text;
        if (expected) {
            EXPECT_EQ(*color, (Color{expected->red / 255, expected->green / 255, expected->blue / 255}))
                << text;
        }
    }
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
