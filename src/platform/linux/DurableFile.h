#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

/// Small private files that are either the old or the new whole, whatever happens while they are written.
namespace DurableFile {

/// Makes the folder and those above it that are missing, with mode 0700, durably. An existing folder gets
/// mode 0700 as well, those above it stay as they are. Throws Error with the system's text.
void makePrivateFolder(const std::filesystem::path& folder);

/// The content; none when there is no such file. Throws Error with the system's text when there is one that
/// cannot be read, or something else than a file in its place.
std::optional<std::string> read(const std::filesystem::path& file);

/// Writes a new file beside `file` (mode 0600), syncs it, renames it over `file` and syncs the folder. Once
/// this returns, the content survives a crash of the machine. Throws Error with the system's text; the old
/// content then stands and nothing is left beside it.
void write(const std::filesystem::path& file, std::string_view content);

/// What a text is to outlive.
enum class Outlives { program, machine };

/// Writes the text behind what the file holds, or into a new one (mode 0600), and syncs it if it is to
/// outlive the machine: a busy disk takes seconds for that. Throws Error with the system's text; the file
/// then holds what it held. A crash of the machine may leave a part of the text.
void append(const std::filesystem::path& file, std::string_view text, Outlives what = Outlives::machine);

/// Removes the file durably. Nothing happens when there is none. Throws Error with the system's text.
void remove(const std::filesystem::path& file);

/// Moves an unusable file out of the way under a name that nothing else has ("cookies.json.broken-1"), so
/// that nothing is lost. Throws Error with the system's text; the file then stays where it is.
void setAside(const std::filesystem::path& file);

} // namespace DurableFile
