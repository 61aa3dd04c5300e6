#pragma once

#include "platform/linux/TemporaryFolder.h"

#include <filesystem>
#include <string>

/// A new folder for an engine's files. It stays until the program ends: the engine's network process lives on
/// between two engines and does not survive the removal of a folder that it has used.
inline std::filesystem::path newEngineFolder() {
    static const TemporaryFolder all("engines");
    static int count = 0;
    auto folder = all.path() / std::to_string(count++);
    std::filesystem::create_directory(folder);
    return folder;
}
