#pragma once

#include <string_view>

/// What the build knows about the program.
namespace Info {

/// The release, "1.2.3".
extern const std::string_view version;
/// The day of the sources (UTC), "2026-01-31": of the last commit, or else of SOURCE_DATE_EPOCH
/// (reproducible-builds.org), or else of the build.
extern const std::string_view versionDate;

} // namespace Info
