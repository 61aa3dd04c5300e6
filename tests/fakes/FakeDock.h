#pragma once

#include "platform/Dock.h"

#include <vector>

/// Notes what the icon shows.
class FakeDock : public Dock {
public:
    int badge = 0;
    std::optional<double> progress;
    std::vector<std::optional<double>> told; ///< every progress

    void setBadge(int count) override { badge = count; }
    void setProgress(std::optional<double> fraction) override { told.push_back(progress = fraction); }
};
