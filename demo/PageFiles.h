#pragma once

#include "demo/Http.h"

#include <map>
#include <string>
#include <vector>

/// The files of demo/page, compiled into the program.
namespace Demo::PageFiles {

/// The names of all files.
std::vector<std::string> names();

/// The contents of a file. Throws std::out_of_range for a name that is not compiled in.
std::string read(const std::string& name);

/// The same with every "{{key}}" replaced. The values go into the text as they are, so they must need no
/// escaping.
std::string fill(const std::string& name, const std::map<std::string, std::string>& values);

/// The file as an answer, its type told by its extension.
Answer answer(const std::string& name);

} // namespace Demo::PageFiles
