#include "bench/ProcessTree.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace {

using namespace std::chrono_literals;

constexpr int notFound = 127;
constexpr auto patience = 5s;

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// What the kernel tells of a process (proc_pid_stat(5)) from its state letter on; empty when it has gone.
std::istringstream statusOf(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(file, text);
    // The program's name stands in parentheses and may hold anything.
    return std::istringstream(text.substr(text.rfind(')') + 1));
}

/// The parent of a process and its state letter; none when it has gone.
std::optional<std::pair<pid_t, char>> parentOf(pid_t pid) {
    auto rest = statusOf(pid);
    char state = 0;
    pid_t parent = 0;
    if (!(rest >> state >> parent))
        return std::nullopt;
    return std::pair(parent, state);
}

/// In ticks of the system's clock; zero for a process that has gone.
long processorTimeOf(pid_t pid) {
    constexpr int fieldsBefore = 11; // from the state letter to the time in user mode
    auto rest = statusOf(pid);
    std::string skipped;
    for (int field = 0; field < fieldsBefore; ++field)
        rest >> skipped;
    long user = 0;
    long system = 0;
    return rest >> user >> system ? user + system : 0;
}

/// The living descendants of this process.
std::vector<pid_t> descendants() {
    std::map<pid_t, std::vector<pid_t>> children;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const auto name = entry.path().filename().string();
        if (!std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; }))
            continue;
        const auto pid = static_cast<pid_t>(std::stol(name));
        if (const auto parent = parentOf(pid); parent && parent->second != 'Z')
            children[parent->first].push_back(pid);
    }
    std::vector<pid_t> found = children[getpid()];
    for (std::size_t index = 0; index < found.size(); ++index) {
        const auto next = children[found[index]];
        found.insert(found.end(), next.begin(), next.end());
    }
    return found;
}

/// Zero for a process that has gone since it was listed.
long proportionalSetSizeOf(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/smaps_rollup");
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream fields(line);
        std::string key;
        long kibibytes = 0;
        if (fields >> key >> kibibytes && key == "Pss:")
            return kibibytes;
    }
    if (const auto parent = parentOf(pid); parent && parent->second != 'Z')
        throw std::runtime_error("the memory of process " + std::to_string(pid) + " cannot be read");
    return 0;
}

} // namespace

ProcessTree::ProcessTree(const std::vector<std::string>& command)
    : output_(memfd_create("output", MFD_CLOEXEC)) {
    // What loses its parent stays in the tree.
    if (output_ < 0 || prctl(PR_SET_CHILD_SUBREAPER, 1) != 0)
        fail("preparing to start a program");
    started_ = Clock::now();
    pid_ = fork();
    if (pid_ < 0)
        fail("starting a program");
    if (pid_ == 0)
        becomeProgram(command);
}

ProcessTree::~ProcessTree() {
    if (!hasEnded())
        kill(pid_, SIGTERM);
    if (!waitForAll(patience)) {
        signalAll(SIGKILL);
        waitForAll(patience);
    }
    close(output_);
}

void ProcessTree::becomeProgram(const std::vector<std::string>& command) const {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const auto& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    dup2(output_, STDOUT_FILENO);
    dup2(output_, STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    perror(arguments[0]);
    _exit(notFound);
}

bool ProcessTree::hasEnded() {
    if (!ended_)
        ended_ = waitpid(pid_, nullptr, WNOHANG) == pid_;
    return ended_;
}

std::string ProcessTree::output() const {
    std::string text(static_cast<std::size_t>(lseek(output_, 0, SEEK_CUR)), '\0');
    const auto count = pread(output_, text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return text;
}

std::chrono::milliseconds ProcessTree::processorTime() const {
    long ticks = 0;
    for (const auto pid : descendants())
        ticks += processorTimeOf(pid);
    return std::chrono::milliseconds(std::chrono::seconds(ticks)) / sysconf(_SC_CLK_TCK);
}

long ProcessTree::proportionalSetSize() const {
    long sum = 0;
    for (const auto pid : descendants())
        sum += proportionalSetSizeOf(pid);
    return sum;
}

void ProcessTree::signalAll(int signal) const {
    for (const auto pid : descendants())
        kill(pid, signal);
}

bool ProcessTree::waitForAll(std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    for (;;) {
        const auto reaped = waitpid(-1, nullptr, WNOHANG);
        if (reaped == pid_)
            ended_ = true;
        if (reaped < 0 && errno == ECHILD)
            return true;
        if (Clock::now() > deadline)
            return false;
        if (reaped <= 0)
            std::this_thread::sleep_for(5ms);
    }
}
