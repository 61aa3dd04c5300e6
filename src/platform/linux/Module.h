#pragma once

#include <string>

/// A part of the program that is loaded when it is needed, so that what does not need it starts without the
/// libraries behind it.
namespace Module {

/// Loads the module of that file name, from beside the running program or else from where modules are
/// installed, and gives the address of its symbol. It stays loaded: libraries that register types with
/// GObject cannot be taken back. Throws Error when it cannot be loaded, or comes from another build than the
/// program: what passes between the two would be read as something else.
void* symbolOf(const std::string& module, const char* symbol);

} // namespace Module
