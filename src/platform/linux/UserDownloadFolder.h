#pragma once

#include "platform/DownloadFolder.h"

#include <filesystem>
#include <functional>
#include <optional>

/// The person's folder for downloads on the disk.
///
/// A file that has arrived is told on the session bus by the broadcast signal `DownloadFileFinished` of the
/// interface `app.brisko.Brisko.Downloads` from `/app/brisko/Brisko`, with its path as the one argument. The
/// names of a path are bytes: one that is not UTF-8 is told with U+FFFD in the place of what is not.
class UserDownloadFolder : public DownloadFolder {
public:
    /// `addToRecentFiles` is told of every file that has arrived.
    UserDownloadFolder(std::optional<std::filesystem::path> folder,
                       std::function<void(const std::filesystem::path&)> addToRecentFiles);

    /// The folder that the desktop is set up with (xdg-user-dirs) and otherwise, also where that one is
    /// switched off by being set to the home folder itself, "Downloads" in the home folder. None without a
    /// home folder.
    static std::optional<std::filesystem::path> ofUser();
    /// The same for a given set-up; `home` has to exist.
    static std::optional<std::filesystem::path> choose(const std::optional<std::filesystem::path>& configured,
                                                       const std::filesystem::path& home);

    std::optional<std::filesystem::path> path() override;
    bool exists(const std::filesystem::path& file) const override;
    /// The disk is waited for on a thread of its own, which touches nothing else.
    Task<> settle(std::filesystem::path partial) override;
    bool place(const std::filesystem::path& partial, const std::filesystem::path& file) override;
    void discard(const std::filesystem::path& partial) override;
    void announce(const std::filesystem::path& file) override;

private:
    std::optional<std::filesystem::path> folder_;
    std::function<void(const std::filesystem::path&)> addToRecentFiles_;
};
