#pragma once

#include "platform/Dock.h"

#include <optional>
#include <vector>

/// Notes what the icon shows, and everything that it was told.
class FakeDock : public Dock {
public:
    int badge = 0;
    std::vector<int> badges;
    std::optional<double> progress;
    std::vector<std::optional<double>> told;

    void setBadge(int count) override {
        badge = count;
        badges.push_back(count);
    }
    void setProgress(std::optional<double> fraction) override {
        progress = fraction;
        told.push_back(fraction);
    }
};
