// What only this system's files can show.
#include "os/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "os/crash_handler.h"
#include "support/temporary_folder.h"

using namespace trel;
using kalvor_test::TemporaryFolder;
using namespace trel::os;

// A file system that refuses unbuffered access is used with buffers.
TEST(LinuxFileTest, UnbufferedAccessFallsBack) {
    // Kernels of many years refuse it on memory file systems, the newest grant it; both must work.
    const std::string path = "/dev/shm/kalvor-file-test-" + std::to_string(getpid());
    const OpenedFile file =
        open_file(path.c_str(), FileAccess::create, {.unbuffered = true, .write_through = false});
    if (file.error) GTEST_SKIP() << "no memory file system";
    const int probe = open(path.c_str(), O_RDONLY | O_DIRECT);
    EXPECT_EQ(file.unbuffered, probe >= 0);
    if (probe >= 0) close(probe);
    if (!file.unbuffered) {
        EXPECT_EQ(write_file(file.handle, "abc", 1, 3).bytes, 3U) << "no sectors with buffers";
    }
    EXPECT_FALSE(close_file(file.handle));
    EXPECT_FALSE(remove_file(path.c_str()));
}

TEST(LinuxFileTest, FlagsReachTheSystem) {
    const TemporaryFolder folder;
    const std::string path = folder.file("a");
    const OpenedFile plain =
        open_file(path.c_str(), FileAccess::create, {.unbuffered = false, .write_through = true});
    ASSERT_FALSE(plain.error);
    const int flags = fcntl(static_cast<int>(plain.handle), F_GETFL);
    EXPECT_EQ(flags & O_DSYNC, O_DSYNC);
    EXPECT_EQ(flags & O_DIRECT, 0);
    EXPECT_EQ(flags & O_ACCMODE, O_RDWR);
    EXPECT_EQ(fcntl(static_cast<int>(plain.handle), F_GETFD), FD_CLOEXEC);
    EXPECT_FALSE(close_file(plain.handle));
    const OpenedFile raw =
        open_file(path.c_str(), FileAccess::read, {.unbuffered = true, .write_through = false});
    ASSERT_FALSE(raw.error);
    EXPECT_EQ((fcntl(static_cast<int>(raw.handle), F_GETFL) & O_DIRECT) != 0, raw.unbuffered);
    EXPECT_FALSE(close_file(raw.handle));
}

// The hint about sectors: the disk itself complains about misaligned unbuffered access.
TEST(LinuxFileTest, MisalignedUnbufferedAccessIsAnInvalidParameter) {
    const TemporaryFolder folder;
    const OpenedFile file =
        open_file(folder.file("a").c_str(), FileAccess::create, {.unbuffered = true, .write_through = false});
    ASSERT_FALSE(file.error);
    if (!file.unbuffered) GTEST_SKIP() << "this file system has no unbuffered access";
    std::vector<char> memory(3 * 4096);
    char* const aligned = memory.data() + (4096 - reinterpret_cast<std::uintptr_t>(memory.data()) % 4096);
    EXPECT_EQ(write_file(file.handle, aligned, 0, 4096).bytes, 4096U);
    for (const Transfer& transfer :
         {write_file(file.handle, aligned, 100, 4096), write_file(file.handle, aligned, 0, 100),
          read_file(file.handle, aligned, 100, 4096)}) {
        EXPECT_EQ(transfer.error.category, ErrorCategory::invalid_parameter);
        EXPECT_EQ(transfer.error.code, static_cast<u32>(EINVAL));
        EXPECT_EQ(transfer.bytes, 0U);
    }
    EXPECT_FALSE(close_file(file.handle));
}

// The largest file that the process may write plays the full disk.
TEST(LinuxFileTest, AFullDiskIsCutAndReported) {
    const TemporaryFolder folder;
    const OpenedFile file = open_file(folder.file("a").c_str(), FileAccess::create, {});
    ASSERT_FALSE(file.error);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = before;
    small.rlim_cur = 6000;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::string data(10000, 'x');
    const Transfer cut = write_file(file.handle, data.data(), 0, data.size());
    const Resizing grown = set_file_size(file.handle, 7000);
    const OsError reserved = reserve_file_space(file.handle, 7000);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(cut.bytes, 6000U);
    EXPECT_EQ(cut.error.category, ErrorCategory::disk_full);
    EXPECT_EQ(cut.error.code, static_cast<u32>(EFBIG));
    EXPECT_EQ(grown.error.category, ErrorCategory::disk_full);
    EXPECT_FALSE(grown.position_refused);
    EXPECT_EQ(reserved.category, ErrorCategory::disk_full);
    EXPECT_FALSE(close_file(file.handle));
}

TEST(LinuxFileTest, PipesAreRefusedByPosition) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    char byte;
    EXPECT_TRUE(read_file(ends[0], &byte, 0, 1).position_refused);
    EXPECT_TRUE(write_file(ends[1], "x", 0, 1).position_refused);
    close(ends[0]);
    close(ends[1]);
}

// Also while nobody writes into it, which would let the system's own call wait.
TEST(LinuxFileTest, APipeWithANameIsNotReadAsAFile) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
    const OpenedFile opened = open_file(folder.file("pipe").c_str(), FileAccess::read, {});
    EXPECT_EQ(opened.handle, kNoFile);
    EXPECT_EQ(opened.error.code, static_cast<u32>(ESPIPE));
}

TEST(LinuxFileTest, BackslashIsNoSeparator) {
    EXPECT_FALSE(is_path_separator('\\'));
}

// Nothing is made, emptied or removed through a link, and nothing waits for a pipe.
TEST(LinuxFileTest, ExclusiveAccessFollowsNoLink) {
    const TemporaryFolder folder;
    folder.write("victim", "content");
    ASSERT_EQ(symlink("victim", folder.file("link").c_str()), 0);
    ASSERT_EQ(symlink("nothing", folder.file("dangling").c_str()), 0);
    ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
    for (const char* name : {"link", "dangling", "pipe"}) {
        const OpenedFile made = open_file(folder.file(name).c_str(), FileAccess::create_new, {});
        EXPECT_EQ(made.error.category, ErrorCategory::exists) << name;
        const OpenedFile taken = open_file(folder.file(name).c_str(), FileAccess::take_over, {});
        EXPECT_EQ(taken.error.category, ErrorCategory::other) << name;
        EXPECT_EQ(taken.error.code, static_cast<u32>(ELOOP)) << name;
    }
    EXPECT_EQ(folder.read("victim"), "content");
    EXPECT_FALSE(folder.has("nothing"));
}

TEST(LinuxFileTest, PrivateFilesAreForTheirOwner) {
    const TemporaryFolder folder;
    const auto rights_of = [&](const char* name, bool is_private) {
        const OpenedFile made =
            open_file(folder.file(name).c_str(), FileAccess::create_new, {.private_file = is_private});
        struct stat status {};
        EXPECT_EQ(fstat(static_cast<int>(made.handle), &status), 0);
        EXPECT_FALSE(close_file(made.handle));
        return status.st_mode & 0777;
    };
    const mode_t mask = umask(0);
    EXPECT_EQ(rights_of("a", true), 0600U);
    EXPECT_EQ(rights_of("b", false), 0666U);
    umask(mask);
}

// A dump shows memory.
TEST(LinuxFileTest, DumpsAreForTheirOwner) {
    const TemporaryFolder folder;
    const mode_t mask = umask(0);
    const DumpFile made = create_dump_file(folder.file("a.dmp").c_str());
    umask(mask);
    ASSERT_GE(made.handle, 0);
    struct stat status {};
    EXPECT_EQ(fstat(static_cast<int>(made.handle), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    close_dump_file(made.handle);
}

// The names must lead to the file that is meant; what somebody put in its place stays.
TEST(LinuxFileTest, AnotherFileOfTheNameIsLeftAlone) {
    const TemporaryFolder folder;
    const std::string a = folder.file("a"), b = folder.file("b");
    const OpenedFile file = open_file(a.c_str(), FileAccess::create_new, {});
    ASSERT_FALSE(file.error);
    ASSERT_EQ(unlink(a.c_str()), 0);
    folder.write("a", "another");
    folder.write("b", "old");
    EXPECT_EQ(rename_open_file(file.handle, a.c_str(), b.c_str()).category, ErrorCategory::not_found);
    EXPECT_EQ(remove_open_file(file.handle, a.c_str()).category, ErrorCategory::not_found);
    EXPECT_FALSE(close_file(file.handle));
    EXPECT_EQ(folder.read("a"), "another");
    EXPECT_EQ(folder.read("b"), "old");
}

// Unlike the device, a limit does not become free while one waits.
TEST(LinuxFileTest, WaitingHelpsAgainstAFullDeviceOnly) {
    EXPECT_TRUE(space_may_come({ENOSPC, ErrorCategory::disk_full}));
    EXPECT_TRUE(space_may_come({EDQUOT, ErrorCategory::disk_full}));
    EXPECT_FALSE(space_may_come({EFBIG, ErrorCategory::disk_full}));
    EXPECT_FALSE(space_may_come({EIO, ErrorCategory::write_fault}));
    EXPECT_FALSE(space_may_come({}));
}
