#pragma once

#include "demo/State.h"

#include <optional>
#include <string>

namespace Demo {

/// Where the state is kept between starts: one JSON file that only its owner can read.
class StateFile {
public:
    explicit StateFile(std::string path) : path_(std::move(path)) {}

    /// The stored state; none when there is no file yet. A file that cannot be understood is moved beside its
    /// place (its name with ".damaged", and a number if that is taken), said so on standard error, and counts
    /// as none. Throws std::runtime_error when the file is there and cannot be read or moved.
    std::optional<State> load() const;

    /// Replaces the file as a whole: a new file, synced, renamed. Throws std::runtime_error when that fails.
    void save(const State& state) const;

private:
    void setAside() const;

    std::string path_;
};

/// Writes a file of the owner's own (mode 0600) so that readers see the old contents or the new, never a
/// part. Throws std::runtime_error.
void replaceFile(const std::string& path, const std::string& contents);

} // namespace Demo
