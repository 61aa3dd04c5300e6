#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

/// Under which name a download is saved. What a page suggests is never trusted: the name stays inside the
/// folder, can be seen there, reads in the order in which it is written, and fits the file system.
namespace DownloadName {

using FileExists = std::function<bool(const std::filesystem::path&)>;

/// Bytes of a name made from a suggestion. The file systems of Linux take 255 (NAME_MAX); the rest is left to
/// the numbers and to what `partial` adds.
inline constexpr std::size_t longest = 220;

/// The name that is made of a suggested one: its last path component, as well-formed UTF-8. Line breaks and
/// tabs become blanks, other control characters and what is ill-formed "_"; the formatting characters that
/// turn the direction of a text around, by which "exe.fdp" reads as "pdf.exe", go; so do dots and blanks at
/// either end, because a name with a leading dot is hidden. What is too long loses the end of its stem.
/// "download" when nothing is left.
///
/// A backslash, a colon and a leading hyphen are ordinary characters.
std::string usable(std::string_view suggested);

/// The path in `folder` for a suggested name, where nothing exists yet: "report.pdf", then "report 2.pdf",
/// "report 3.pdf"; "notes", then "notes 2". The extension is what follows the last dot: "archive.tar 2.gz".
std::filesystem::path unused(std::string_view suggested, const std::filesystem::path& folder,
                             const FileExists& exists);

/// The hidden file beside `target` that holds what has arrived until all has, where nothing exists yet.
std::filesystem::path partial(const std::filesystem::path& target, const FileExists& exists);

} // namespace DownloadName
