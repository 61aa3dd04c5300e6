#pragma once

#include "application/linux/Options.h"

/// The module's only symbol: runs the program until it ends and returns its status. Throws what keeps it from
/// starting.
extern "C" [[gnu::visibility("default")]] int briskoRunProgram(const Options& options);

/// The name under which the module is found beside the program or in its library folder.
inline constexpr const char* programModuleName = "brisko-program.so";
inline constexpr const char* programEntryName = "briskoRunProgram";
