#pragma once

#include <sys/types.h>

#include <set>
#include <string>

/// The processes that the engine has started from this one.
namespace EngineProcess {

inline constexpr const char* network = "WebKitNetworkPr"; ///< the kernel keeps 15 characters of a name
inline constexpr const char* sandbox = "bwrap";           ///< one around each web process

inline constexpr const char* page = "WebKitWebProces"; ///< inside its sandbox

/// The living children of that name.
std::set<pid_t> named(const std::string& name);
/// The living descendants of that name.
std::set<pid_t> below(const std::string& name);

} // namespace EngineProcess
