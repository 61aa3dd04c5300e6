#pragma once

#include "demo/Tasks.h"

#include <string>
#include <vector>

namespace Demo {

/// The tasks as a table for other programs: RFC 4180 in UTF-8, with the columns Title, List, Status ("To do",
/// "In progress", "Done"), Due date (YYYY-MM-DD), Due time (HH:MM) and Notes, named in the first row.
///
/// Spreadsheets run a cell that begins like a formula ("=", "+", "-", "@", a tab or a line break), and what
/// is in a task may come from anywhere: such a cell gets an apostrophe in front, which spreadsheets take for
/// "this is text". One that has apostrophes before such a character gets another one, so that whoever reads
/// the table back can take off exactly one and has the original.
std::string tasksToCsv(const std::vector<Task>& tasks);

} // namespace Demo
