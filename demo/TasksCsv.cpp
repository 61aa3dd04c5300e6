#include "demo/TasksCsv.h"

#include <array>
#include <string_view>

namespace Demo {

namespace {

constexpr std::array<const char*, 3> statusTitles = {"To do", "In progress", "Done"};

bool looksLikeFormula(std::string_view text) {
    const std::size_t first = text.find_first_not_of('\'');
    return first != std::string_view::npos &&
           std::string_view("=+-@\t\r\n").find(text[first]) != std::string_view::npos;
}

std::string cell(const std::string& text) {
    std::string safe = looksLikeFormula(text) ? "'" + text : text;
    if (safe.find_first_of(",\"\r\n") == std::string::npos)
        return safe;
    std::string quoted = "\"";
    for (const char c : safe)
        quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + '"';
}

} // namespace

std::string tasksToCsv(const std::vector<Task>& tasks) {
    std::string table = "Title,List,Status,Due date,Due time,Notes\r\n";
    for (const Task& task : tasks)
        table += cell(task.title) + ',' + cell(task.list) + ',' +
                 statusTitles[static_cast<std::size_t>(task.status)] + ',' + task.dueDate + ',' +
                 task.dueTime + ',' + cell(task.notes) + "\r\n";
    return table;
}

} // namespace Demo
