// Two runs into one path, one of which acts between two system calls of the other. The other is a child
// process that is traced and held before the call in question.
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <string>

#include "os/file.h"
#include "support/temporary_folder.h"

using namespace trel;
using kalvor_test::TemporaryFolder;
using namespace trel::os;

namespace {

constexpr int kRefusedByTheSystem = -1;

[[noreturn]] void be_traced(const std::function<int()>& body) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(99);
    raise(SIGSTOP);
    _exit(body());
}

// Runs `body` in a child, and `meanwhile` here when the child is about to make its first call of this number.
// The child's exit code, or kRefusedByTheSystem where nothing may be traced.
int exit_code_of(const std::function<int()>& body, long call, const std::function<void()>& meanwhile) {
    const pid_t child = fork();
    if (child < 0) return kRefusedByTheSystem;
    if (child == 0) be_traced(body);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFSTOPPED(status)) return kRefusedByTheSystem;
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    bool met = false;
    while (true) {
        ptrace(met ? PTRACE_CONT : PTRACE_SYSCALL, child, nullptr, nullptr);
        if (waitpid(child, &status, 0) != child || WIFSIGNALED(status)) return kRefusedByTheSystem;
        if (WIFEXITED(status)) break;
        user_regs_struct registers{};
        ptrace(PTRACE_GETREGS, child, nullptr, &registers);
        if (!met && static_cast<long>(registers.orig_rax) == call) {
            met = true;
            meanwhile();
        }
    }
    EXPECT_TRUE(met) << "the call was not made";
    return WEXITSTATUS(status);
}

}  // namespace

// Between its creation and its lock another run takes the file for a forgotten one and removes it.
TEST(LinuxFileRaceTest, AFileThatIsRemovedBeforeItIsLockedIsNotOurs) {
    for (const bool another : {false, true}) {
        const TemporaryFolder folder;
        const std::string path = folder.file("x");
        const int code = exit_code_of(
            [&] {
                const OpenedFile made = open_file(path.c_str(), FileAccess::create_new, {});
                return made.error ? static_cast<int>(made.error.category) : 100;
            },
            SYS_flock,
            [&] {
                EXPECT_EQ(unlink(path.c_str()), 0);
                if (another) folder.write("x", "another");
            });
        if (code == kRefusedByTheSystem) GTEST_SKIP() << "processes may not be traced here";
        EXPECT_EQ(code, static_cast<int>(ErrorCategory::sharing)) << another;
        EXPECT_EQ(folder.has("x"), another);
    }
}

// Between the look at the name and the renaming another file comes under the name.
TEST(LinuxFileRaceTest, AnotherFileThatIsRenamedInsteadIsNoticed) {
    const TemporaryFolder folder;
    const std::string from = folder.file("draft"), to = folder.file("final");
    const int code = exit_code_of(
        [&] {
            const OpenedFile file = open_file(from.c_str(), FileAccess::create_new, {});
            if (file.error) return 101;
            const OsError error = rename_open_file(file.handle, from.c_str(), to.c_str());
            return error ? static_cast<int>(error.category) : 100;
        },
        SYS_rename,
        [&] {
            EXPECT_EQ(unlink(from.c_str()), 0);
            folder.write("draft", "another");
        });
    if (code == kRefusedByTheSystem) GTEST_SKIP() << "processes may not be traced here";
    EXPECT_EQ(code, static_cast<int>(ErrorCategory::not_found));
}
