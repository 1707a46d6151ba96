// What the first step of main() keeps from happening: files on the descriptors of the standard streams,
// signals that end the process where a write could fail.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "os/console.h"
#include "os/file.h"
#include "os/linux/executable.h"
#include "os/process.h"
#include "support/child.h"
#include "support/run_program.h"

using namespace trel;

namespace {

// 0: all three can be used as they should, and the next file is none of them.
const kalvor_test::Child closed_child("closed streams", [] {
    for (int i = 0; i < 3; i++) close(i);
    os::prepare_process();
    const bool can_read = (fcntl(0, F_GETFL) & O_ACCMODE) == O_RDONLY, can_write = write(1, "x", 1) == 1;
    std::_Exit(can_read && can_write && open("/", O_RDONLY) > 2 ? 0 : 99);
});

// The exit code is the category of the failure.
const kalvor_test::Child closed_pipe_child("closed pipe", [] {
    os::prepare_process();
    int ends[2];
    if (pipe(ends) != 0) std::_Exit(99);
    close(ends[0]);
    dup2(ends[1], 1);
    os::write_stdout("a line\n");
    os::write_stdout("another line\n");
    std::_Exit(static_cast<int>(os::stdout_failure().category));
});
const kalvor_test::Child full_child("full output", [] {
    dup2(open("/dev/full", O_WRONLY), 1);
    os::write_stdout("a line\n");
    std::_Exit(static_cast<int>(os::stdout_failure().category));
});
const kalvor_test::Child large_file_child("large file", [] {
    os::prepare_process();
    const rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    const os::OpenedFile file = os::open_file("file", os::FileAccess::create, {});
    const std::string text(2000, 'x');
    std::_Exit(static_cast<int>(os::write_file(file.handle, text.data(), 0, text.size()).error.category));
});
// What a program started from here does at a closed pipe is its own affair.
const kalvor_test::Child inherited_child("inherited", [] {
    os::prepare_process();
    execl("/bin/sh", "sh", "-c", "kill -PIPE $$; exit 7", nullptr);
});

int exit_code_of(const char* child) {
    const kalvor_test::TemporaryFolder folder;
    kalvor_test::RunOptions options;
    options.folder = folder.path();
    return kalvor_test::run_this_test({"--child", child}, options).exit_code;
}

}  // namespace

TEST(PrepareProcessTest, ClosedStreamsGetTheNullDevice) {
    EXPECT_EQ(exit_code_of("closed streams"), 0);
}

TEST(PrepareProcessTest, AClosedPipeIsAFailureOfTheOutput) {
    EXPECT_EQ(exit_code_of("closed pipe"), static_cast<int>(os::ErrorCategory::disconnected));
    EXPECT_EQ(exit_code_of("inherited"), 128 + SIGPIPE);
}

TEST(PrepareProcessTest, AFileThatIsTooLargeIsAFullDisk) {
    EXPECT_EQ(exit_code_of("large file"), static_cast<int>(os::ErrorCategory::disk_full));
}

TEST(StandardOutputTest, AFullDeviceIsNoticed) {
    EXPECT_EQ(exit_code_of("full output"), static_cast<int>(os::ErrorCategory::disk_full));
    EXPECT_FALSE(os::stdout_failure().failed());
}

// Without /proc the path comes from the start of the process.
TEST(ExecutablePathTest, IsKnownTwice) {
    const std::optional<std::string> by_link = os::path_of_link("/proc/self/exe");
    ASSERT_TRUE(by_link);
    EXPECT_EQ(os::path_of_start(), by_link);
    EXPECT_FALSE(os::path_of_link("/proc/self/no such link"));
    EXPECT_EQ(os::path_of_program("/proc/self/no such link"), by_link);
    EXPECT_EQ(os::executable_path(), by_link);
}

TEST(StackLimitTest, IsTheUsers) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_STACK, &limit), 0);
    EXPECT_EQ(os::stack_limit(), limit.rlim_cur == RLIM_INFINITY ? 0 : limit.rlim_cur);
}
