#include "EngineProcess.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

std::set<pid_t> EngineProcess::named(const std::string& name) {
    std::set<pid_t> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream file(entry.path() / "stat");
        std::string stat;
        std::getline(file, stat);
        // "PID (NAME) STATE PARENT …"
        const auto open = stat.find('(');
        const auto close = stat.rfind(')');
        if (close == std::string::npos || stat.substr(open + 1, close - open - 1) != name)
            continue;
        std::istringstream rest(stat.substr(close + 1));
        char state = 0;
        pid_t parent = 0;
        rest >> state >> parent;
        if (parent == getpid() && state != 'Z')
            found.insert(static_cast<pid_t>(std::stol(stat)));
    }
    return found;
}
