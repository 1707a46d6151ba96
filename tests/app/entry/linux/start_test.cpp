// The program as a shell starts it: streams that are closed, limits of the user's.
#include <gtest/gtest.h>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "app/entry/integrity.h"
#include "app/entry/stack_check.h"
#include "os/cpu.h"
#include "os/linux/processor_list.h"
#include "os/process.h"
#include "support/capture_console.h"
#include "support/child.h"
#include "support/run_program.h"

using kalvor_test::read_file;
using kalvor_test::TemporaryFolder;

namespace {

// Runs a line of a shell in the folder; "kalvor" in it is the program. Its output goes to the file "log".
int shell(const TemporaryFolder& folder, const std::string& before, const std::string& words,
          const std::string& redirections = "> log 2>&1") {
    const std::string line = "cd '" + folder.path() + "' && " + before + " '" + kalvor_test::kalvor_path() +
                             "' skip-warnings pause:-2 " + words + " < /dev/null " + redirections;
    const int status = std::system(("exec sh -c \"" + line + "\"").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// The program with a standard output whose reader has gone.
const kalvor_test::Child no_reader_child("into a closed pipe", [] {
    int ends[2];
    if (pipe(ends) != 0) _exit(99);
    close(ends[0]);
    dup2(ends[1], 1);
    const std::string program = kalvor_test::kalvor_path();
    execl(program.c_str(), "kalvor", "skip-warnings", "pause:-2", "custom", "pi", "-dec:1000", "-o", "out",
          nullptr);
    _exit(98);
});

// From here on nobody tells this process its processors, or lets it choose them; what it starts neither.
bool refuse_affinity() {
    sock_filter lines[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_sched_getaffinity, 1, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_sched_setaffinity, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{std::size(lines), lines};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

const kalvor_test::Child sandbox_child("in a sandbox", [] {
    if (!refuse_affinity()) _exit(99);
    const std::string program = kalvor_test::kalvor_path();
    execl(program.c_str(), "kalvor", "skip-warnings", "pause:-2", "custom", "pi", "-dec:1000", "-o", "out",
          nullptr);
    _exit(98);
});

// A program's file that its user may run but not read; nobody reads as root.
const kalvor_test::Child unreadable_child("unreadable", [] {
    if (geteuid() == 0 && seteuid(65534) != 0) _exit(99);
    kalvor::check_integrity("path", "unreadable");
    _exit(0);
});

}  // namespace

// The digits are not mixed with what is printed.
TEST(StartTest, WithClosedStreams) {
    const TemporaryFolder folder;
    EXPECT_EQ(shell(folder, "", "custom pi -dec:1000 -o out", "0<&- >&- 2>&-"), 0);
    const std::string digits = read_file(folder / "out/Pi - Dec - Chudnovsky.txt");
    EXPECT_EQ(digits.size(), 1002u);
    EXPECT_EQ(digits.substr(0, 12), "3.1415926535");
}

// Nobody reads any more, but the digits are still wanted.
TEST(StartTest, WithAReaderThatHasGone) {
    const TemporaryFolder folder;
    kalvor_test::RunOptions options;
    options.folder = folder.path();
    EXPECT_LE(kalvor_test::run_this_test({"--child", "into a closed pipe"}, options).exit_code, 1);
    EXPECT_EQ(read_file(folder / "out/Pi - Dec - Chudnovsky.txt").size(), 1002u);
}

// The processors of the machine are those of the run then.
TEST(StartTest, WhereTheAffinityIsRefused) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer asks for its threads' affinity and ends the process";
#endif
    const TemporaryFolder folder;
    kalvor_test::RunOptions options;
    options.folder = folder.path();
    const kalvor_test::ProgramRun run = kalvor_test::run_this_test({"--child", "in a sandbox"}, options);
    if (run.exit_code == 99) GTEST_SKIP() << "system calls cannot be refused here";
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(read_file(folder / "out/Pi - Dec - Chudnovsky.txt").size(), 1002u);
    const auto machine = static_cast<trel::u32>(trel::os::processors_of_machine("").size());
    const std::string threads =
        " / " + std::to_string(trel::os::processors_within_quota(machine, trel::os::processor_quota()));
    const std::string text = run.value("Multi-Threading:") + " ";
    EXPECT_NE(text.find(threads + " "), std::string::npos) << text;
}

TEST(StartTest, AProgramThatMayBeRunButNotRead) {
    const TemporaryFolder folder;
    std::ofstream(folder / "unreadable") << "not intact";
    ASSERT_EQ(chmod((folder / "unreadable").c_str(), 0111), 0);
    kalvor_test::RunOptions options;
    options.folder = folder.path();
    const int code = kalvor_test::run_this_test({"--child", "unreadable"}, options).exit_code;
    if (code == 99) GTEST_SKIP() << "this root may not become another user";
    EXPECT_EQ(code, 0);
    // What is read is the running program, whatever has its path by now.
    EXPECT_EQ(trel::os::executable_file(), "/proc/self/exe");
}

TEST(StartTest, ALimitOnTheSizeOfFilesIsAnError) {
    const TemporaryFolder folder;
    EXPECT_EQ(shell(folder, "ulimit -f 64;", "custom pi -dec:1m -o out"), 1);
    EXPECT_NE(read_file(folder / "log").find("Disk is Full"), std::string::npos);
}

TEST(StartTest, ASmallStackIsRefused) {
    const TemporaryFolder folder;
    EXPECT_EQ(shell(folder, "ulimit -s 128;", "custom pi -dec:1000"), 1);
    EXPECT_NE(read_file(folder / "log")
                  .find("The stack is limited to 128 KiB; Kalvor needs 1,024 KiB.\n"
                        "Run \"ulimit -s 8192\" and try again.\n"),
              std::string::npos)
        << read_file(folder / "log");
    EXPECT_EQ(shell(folder, "ulimit -s 1024;", "custom pi -dec:1m -o out"), 0);
    CaptureConsole console;
    EXPECT_TRUE(kalvor::check_stack(0));
    EXPECT_TRUE(kalvor::check_stack(kalvor::kLeastStack));
    EXPECT_EQ(console.take(), "");
    EXPECT_FALSE(kalvor::check_stack(kalvor::kLeastStack - 1));
}

// A run whose results nobody could see is not a success.
TEST(StartTest, AnOutputThatCannotBeWritten) {
    const TemporaryFolder folder;
    EXPECT_EQ(shell(folder, "", "custom pi -dec:1000 -o out", "> /dev/full 2> errors"), 1);
    EXPECT_NE(read_file(folder / "errors").find("\nWhat the program printed could not be shown in full: "),
              std::string::npos);
    EXPECT_EQ(read_file(folder / "out/Pi - Dec - Chudnovsky.txt").size(), 1002u);
    EXPECT_EQ(shell(folder, "", "--version", "> /dev/full 2> errors"), 1);
    EXPECT_EQ(shell(folder, "", "--version", "> log 2> /dev/full"), 0);
    // A reader that goes away is told nothing more, and the run is not a success either.
    EXPECT_EQ(shell(folder, "{", "custom pi -dec:1m -o pipe 2> errors; echo \\$? > code", "; } | true"), 0);
    EXPECT_EQ(read_file(folder / "code"), "1\n");
    EXPECT_EQ(read_file(folder / "errors"), "");
    EXPECT_EQ(read_file(folder / "pipe/Pi - Dec - Chudnovsky.txt").size(), 1000002u);
}
