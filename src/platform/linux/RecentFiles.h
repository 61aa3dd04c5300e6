#pragma once

#include <filesystem>

/// The desktop's list of recently used files.
namespace RecentFiles {

/// Adds an existing file as one that this program has used; it reads the file's type by and by. Without a
/// desktop that keeps such a list, or with one that is told not to, nothing happens.
void add(const std::filesystem::path& file);

} // namespace RecentFiles
