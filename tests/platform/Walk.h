#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

/// The cells of a row, which two spaces or more divide.
inline std::vector<std::string> cellsOf(const std::string& row) {
    std::vector<std::string> cells;
    for (std::size_t begin = row.find_first_not_of(' '), end = 0; begin != std::string::npos;
         begin = row.find_first_not_of(' ', end)) {
        end = std::min(row.find("  ", begin), row.size());
        cells.push_back(row.substr(begin, end - begin));
    }
    return cells;
}

/// A scenario: a row of steps, and beneath it what is seen after each. `take` takes a step and looks.
inline void walk(const std::string& steps, const std::string& looks,
                 const std::function<std::string(const std::string&)>& take) {
    const auto taken = cellsOf(steps), seen = cellsOf(looks);
    for (std::size_t i = 0; i < taken.size(); ++i)
        EXPECT_EQ(take(taken[i]), i < seen.size() ? seen[i] : "")
            << "after step " << i + 1 << ", " << taken[i] << ", of: " << steps;
}
