#pragma once

#include "platform/Task.h"

#include <filesystem>
#include <optional>

/// The person's folder for downloads.
class DownloadFolder {
public:
    virtual ~DownloadFolder() = default;

    /// The folder, made when it is missing; none when the person has no such folder at all. Throws Error when
    /// there is one that cannot be made or written to.
    virtual std::optional<std::filesystem::path> path() = 0;
    /// Whether there is anything under that name, a broken link included.
    virtual bool exists(const std::filesystem::path& file) const = 0;
    /// Waits until all that has been written to `partial` is on the disk, so that no loss of power leaves an
    /// empty file under a final name. Throws Error when it cannot be written there.
    virtual Task<> settle(std::filesystem::path partial) = 0;
    /// Gives `partial` the name `file` in one step. False, with nothing changed, when that is taken by now.
    /// Throws Error when it cannot be done.
    virtual bool place(const std::filesystem::path& partial, const std::filesystem::path& file) = 0;
    /// Removes an unfinished file, if there is one.
    virtual void discard(const std::filesystem::path& partial) = 0;
    /// Tells the desktop of a file that has arrived: its other programs, and its list of recent files.
    virtual void announce(const std::filesystem::path& file) = 0;
};
