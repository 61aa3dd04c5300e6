#include "reminders/agent/linux/TimeZoneWatch.h"

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <system_error>
#include <utility>

namespace {

namespace fs = std::filesystem;

/// None where TZ says all by itself.
fs::path zoneFile() {
    const auto* given = std::getenv("TZ");
    if (!given)
        return "/etc/localtime";
    std::string name = given;
    if (name.starts_with(':'))
        name.erase(0, 1);
    return name.starts_with('/') ? fs::path(name) : fs::path();
}

} // namespace

TimeZoneWatch::TimeZoneWatch(std::function<void()> onChange) : onChange_(std::move(onChange)) {
    watch();
}

void TimeZoneWatch::watch() {
    connections_.clear();
    monitors_.clear();
    const auto named = zoneFile();
    if (named.empty())
        return;
    std::error_code failure;
    for (const auto& file : std::set<fs::path>{named, fs::weakly_canonical(named, failure)}) {
        const auto object = GPtr<GFile>::take(g_file_new_for_path(file.c_str()));
        auto monitor = GPtr<GFileMonitor>::take(
            g_file_monitor_file(object.get(), G_FILE_MONITOR_WATCH_MOVES, nullptr, nullptr));
        if (!monitor)
            continue;
        const auto handler = +[](GFileMonitor*, GFile*, GFile*, GFileMonitorEvent, gpointer self) {
            static_cast<TimeZoneWatch*>(self)->changed();
        };
        connections_.emplace_back(monitor.get(),
                                  g_signal_connect(monitor.get(), "changed", G_CALLBACK(handler), this));
        monitors_.push_back(std::move(monitor));
    }
}

void TimeZoneWatch::changed() {
    // The link may lead elsewhere now. The monitor that called is freed only when it has returned.
    const auto former = monitors_;
    watch();
    onChange_();
}
