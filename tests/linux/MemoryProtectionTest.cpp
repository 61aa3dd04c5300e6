#include "platform/linux/MemoryProtection.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <string>

namespace {

constexpr uid_t nobody = 65534;

/// Runs the action in a process of its own, without privileges: a person's program.
pid_t start(const std::function<int()>& action) {
    const auto process = fork();
    if (process == 0)
        _exit(getuid() == 0 && setuid(nobody) != 0 ? 100 : action());
    return process;
}

/// What another program of the same person gets of a process that runs `prepare` first: 1 for tracing it, 2
/// for opening its memory.
int spyOn(const std::function<void()>& prepare) {
    int ready[2];
    EXPECT_EQ(pipe(ready), 0);
    const auto victim = start([&] {
        // Changing the user has made the process undumpable by itself: a program starts dumpable.
        prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
        prepare();
        (void)!write(ready[1], "!", 1);
        return pause();
    });
    char byte = 0;
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
    close(ready[0]);
    close(ready[1]);
    const auto spy = start([&] {
        const auto traced = ptrace(PTRACE_SEIZE, victim, nullptr, nullptr) == 0;
        const auto memory = access(("/proc/" + std::to_string(victim) + "/mem").c_str(), R_OK) == 0;
        return (traced ? 1 : 0) + (memory ? 2 : 0);
    });
    int status = 0;
    waitpid(spy, &status, 0);
    kill(victim, SIGKILL);
    waitpid(victim, nullptr, 0);
    return WEXITSTATUS(status);
}

} // namespace

TEST(MemoryProtection, keepsTheMemoryFromOtherProgramsOfTheSamePerson) {
    if (spyOn([] {}) == 0)
        GTEST_SKIP() << "this machine lets no program look at another one anyway";
    EXPECT_EQ(spyOn(MemoryProtection::apply), 0);
}
