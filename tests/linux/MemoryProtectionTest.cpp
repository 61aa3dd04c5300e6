#include "platform/linux/MemoryProtection.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <string>

namespace {

constexpr uid_t nobody = 65534;

/// Another program of the same person: whether it may trace `process` and open its memory.
int spy(pid_t process) {
    const auto traced = ptrace(PTRACE_SEIZE, process, nullptr, nullptr) == 0;
    const std::ifstream memory("/proc/" + std::to_string(process) + "/mem");
    return (traced ? 1 : 0) + (memory.good() ? 2 : 0);
}

/// What a spy gets of a process that runs `prepare` first, both without privileges.
int spyOn(void (*prepare)()) {
    int ready[2];
    EXPECT_EQ(pipe(ready), 0);
    const auto victim = fork();
    if (victim == 0) {
        if (getuid() == 0 && setuid(nobody) != 0)
            _exit(1);
        // Changing the user has made the process undumpable by itself: a program starts dumpable.
        prepare();
        (void)!write(ready[1], "!", 1);
        pause();
        _exit(0);
    }
    char byte = 0;
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
    close(ready[0]);
    close(ready[1]);
    const auto other = fork();
    if (other == 0) {
        if (getuid() == 0 && setuid(nobody) != 0)
            _exit(100);
        _exit(spy(victim));
    }
    int status = 0;
    waitpid(other, &status, 0);
    kill(victim, SIGKILL);
    waitpid(victim, nullptr, 0);
    return WEXITSTATUS(status);
}

} // namespace

TEST(MemoryProtection, keepsTheMemoryFromOtherProgramsOfTheSamePerson) {
    const auto open = spyOn([] { prctl(PR_SET_DUMPABLE, 1, 0, 0, 0); });
    if (open == 0)
        GTEST_SKIP() << "this machine lets no program look at another one anyway";
    EXPECT_EQ(spyOn([] {
                  prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
                  MemoryProtection::apply();
              }),
              0);
}
