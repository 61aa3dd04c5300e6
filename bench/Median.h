#pragma once

#include <algorithm>
#include <vector>

/// The middle one, or the mean of the two in the middle. There has to be one.
inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const auto middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}
