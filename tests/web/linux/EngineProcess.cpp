#include "EngineProcess.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace {

struct Process {
    std::string name;
    char state = 0;
    pid_t parent = 0;
};

std::map<pid_t, Process> all() {
    std::map<pid_t, Process> processes;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream file(entry.path() / "stat");
        std::string stat;
        std::getline(file, stat);
        // "PID (NAME) STATE PARENT …"
        const auto open = stat.find('(');
        const auto close = stat.rfind(')');
        if (close == std::string::npos)
            continue;
        Process process;
        process.name = stat.substr(open + 1, close - open - 1);
        std::istringstream rest(stat.substr(close + 1));
        rest >> process.state >> process.parent;
        processes.emplace(static_cast<pid_t>(std::stol(stat)), process);
    }
    return processes;
}

} // namespace

std::set<pid_t> EngineProcess::named(const std::string& name) {
    std::set<pid_t> found;
    for (const auto& [id, process] : all())
        if (process.name == name && process.parent == getpid() && process.state != 'Z')
            found.insert(id);
    return found;
}

std::set<pid_t> EngineProcess::below(const std::string& name) {
    const auto processes = all();
    std::set<pid_t> found;
    for (const auto& [id, process] : processes) {
        if (process.name != name || process.state == 'Z')
            continue;
        auto ancestor = processes.find(process.parent);
        while (ancestor != processes.end() && ancestor->first != getpid())
            ancestor = processes.find(ancestor->second.parent);
        if (ancestor != processes.end())
            found.insert(id);
    }
    return found;
}
