#include "platform/linux/MemoryProtection.h"

#include <fcntl.h>
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

/// What one program of a person gets of another one that runs `prepare` first: 1 for tracing it, 2 for
/// opening its memory. Neither has privileges.
int spyOn(const std::function<void()>& prepare) {
    const auto spy = fork();
    if (spy == 0) {
        int ready[2];
        if ((getuid() == 0 && setuid(nobody) != 0) || pipe(ready) != 0)
            _exit(100);
        const auto victim = fork();
        if (victim == 0) {
            // Changing the user has made the process undumpable by itself: a program starts dumpable.
            prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
            prepare();
            close(ready[1]);
            pause();
        }
        close(ready[1]);
        char none = 0;
        (void)!read(ready[0], &none, 1);
        const auto traced = ptrace(PTRACE_SEIZE, victim, nullptr, nullptr) == 0;
        const auto memory = open(("/proc/" + std::to_string(victim) + "/mem").c_str(), O_RDONLY) >= 0;
        kill(victim, SIGKILL);
        _exit((traced ? 1 : 0) + (memory ? 2 : 0));
    }
    int status = 0;
    waitpid(spy, &status, 0);
    return WEXITSTATUS(status);
}

} // namespace

TEST(MemoryProtection, keepsTheMemoryFromOtherProgramsOfTheSamePerson) {
    if (spyOn([] {}) == 0)
        GTEST_SKIP() << "this machine lets no program look at another one anyway";
    EXPECT_EQ(spyOn(MemoryProtection::apply), 0);
}
