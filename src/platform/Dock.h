#pragma once

#include <optional>

/// The program's icon in the desktop's dock or task bar. Where the desktop has none, nothing happens.
class Dock {
public:
    virtual ~Dock() = default;

    /// The number on the icon; none is shown for 0.
    virtual void setBadge(int count) = 0;
    /// How far what is under way has come, from 0 to 1; no bar is shown for none.
    virtual void setProgress(std::optional<double> fraction) = 0;
};
