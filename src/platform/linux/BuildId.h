#pragma once

#include <string_view>

/// Which build a part of the program comes from. Parts of two builds may lay out what passes between them
/// differently.
namespace BuildId {

/// Of what this is compiled into: a digest of the version, the kind of the build and every header.
extern const std::string_view own;

/// The symbol by which a module says its own: a function that takes nothing and returns a C string.
inline constexpr const char* symbol = "briskoBuildId";

} // namespace BuildId
