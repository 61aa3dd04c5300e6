#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

/// A program that is being measured, with every process that it starts.
///
/// There is one at a time: all descendants of the measuring process count as its own, also those whose parent
/// has gone.
class ProcessTree {
public:
    using Clock = std::chrono::steady_clock;

    /// Starts the program, searched for in PATH. Throws std::system_error when no process can be made; a
    /// program that cannot be executed ends at once.
    explicit ProcessTree(const std::vector<std::string>& command);
    /// Ends it, and returns when the last of its processes has gone.
    ~ProcessTree();
    ProcessTree(const ProcessTree&) = delete;
    ProcessTree& operator=(const ProcessTree&) = delete;

    /// Just before the process was made.
    Clock::time_point started() const { return started_; }
    bool hasEnded();
    /// What it has written to its standard output and error so far.
    std::string output() const;
    /// The processor time that all its living processes have used so far.
    std::chrono::milliseconds processorTime() const;
    /// The proportional set size of all its processes in KiB (proc(5), smaps_rollup). Throws
    /// std::runtime_error when one of them cannot be read.
    long proportionalSetSize() const;

private:
    [[noreturn]] void becomeProgram(const std::vector<std::string>& command) const;
    void signalAll(int signal) const;
    bool waitForAll(std::chrono::milliseconds limit);

    int output_;
    Clock::time_point started_;
    pid_t pid_ = 0;
    bool ended_ = false;
};
