#include "os/crash_handler.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "support/mini_dump.h"
#include "support/run_program.h"

using namespace trel;

// The folder may be anybody's: a file that has the name may be the user's own, a link may point to one.
TEST(MiniDumpFileTest, LeavesAloneWhatWasThere) {
    const kalvor_test::TemporaryFolder folder;
    const std::string path = folder / "a.dmp", link = folder / "link.dmp", target = folder / "target";
    std::ofstream(path, std::ios::binary) << "mine";
    EXPECT_EQ(os::create_dump_file(path.c_str()).handle, -1);
    EXPECT_EQ(kalvor_test::read_file(path), "mine");
    std::error_code refused;
    std::filesystem::create_symlink(target, link, refused);
    if (!refused) {
        EXPECT_EQ(os::create_dump_file(link.c_str()).handle, -1);
        EXPECT_FALSE(std::filesystem::exists(target));
    }
}

TEST(MiniDumpFileTest, OneThatIsDiscardedIsGone) {
    const kalvor_test::TemporaryFolder folder;
    const std::string path = folder / "a.dmp";
    const os::DumpFile file = os::create_dump_file(path.c_str());
    ASSERT_NE(file.handle, -1);
    os::discard_dump_file(file.handle, path.c_str());
    EXPECT_TRUE(folder.files().empty());
}

TEST(MiniDumpFileTest, IsWhole) {
    const kalvor_test::TemporaryFolder folder;
    const std::string path = folder / "a.dmp";
    const os::DumpFile file = os::create_dump_file(path.c_str());
    ASSERT_NE(file.handle, -1);
    EXPECT_EQ(file.error, 0u);
    EXPECT_EQ(os::write_minidump(file.handle, nullptr), 0u);
    os::close_dump_file(file.handle);
    MiniDump dump(kalvor_test::read_file(path));
    ASSERT_TRUE(dump.valid());
    EXPECT_FALSE(dump.has(6));
    EXPECT_GE(dump.n_threads(), 1u);
}

TEST(MiniDumpFileTest, FailuresHaveANumber) {
    const kalvor_test::TemporaryFolder folder;
    const os::DumpFile nowhere = os::create_dump_file((folder / "missing" + "/a.dmp").c_str());
    EXPECT_EQ(nowhere.handle, -1);
    EXPECT_NE(nowhere.error, 0u);
    const os::DumpFile file = os::create_dump_file((folder / "a.dmp").c_str());
    ASSERT_NE(file.handle, -1);
    os::close_dump_file(file.handle);
    EXPECT_NE(os::write_minidump(file.handle, nullptr), 0u);
}
