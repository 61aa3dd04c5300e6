#pragma once

#include "platform/Dock.h"

#include <string>

/// The program's icon in the docks that follow the Unity launcher API: the signal `Update` of
/// `com.canonical.Unity.LauncherEntry` on the session bus
/// (https://wiki.ubuntu.com/Unity/LauncherAPI).
///
/// Nothing is said before there is something to show, and nothing twice. What is shown goes with this object.
class LauncherEntry final : public Dock {
public:
    /// `desktopFile` is the name of the program's desktop entry, "app.brisko.Brisko.desktop".
    explicit LauncherEntry(const std::string& desktopFile);
    LauncherEntry(const LauncherEntry&) = delete;
    LauncherEntry& operator=(const LauncherEntry&) = delete;
    ~LauncherEntry() override;

    void setBadge(int count) override;
    void setProgress(std::optional<double> fraction) override;

private:
    std::string uri_;
    std::string path_;
    int count_ = 0;
    std::optional<double> fraction_;
};
