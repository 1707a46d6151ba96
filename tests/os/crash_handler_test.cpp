#include "os/crash_handler.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/mini_dump.h"
#include "support/run_program.h"

using namespace trel;

TEST(MiniDumpFile, ReplacesWhatWasThere) {
    const kalvor_test::TemporaryFolder folder;
    const std::string path = folder / "a.dmp";
    const std::string before(16 << 20, 'x');
    std::ofstream(path, std::ios::binary) << before;
    const os::DumpFile file = os::create_dump_file(path.c_str());
    ASSERT_NE(file.handle, -1);
    EXPECT_EQ(file.error, 0u);
    EXPECT_EQ(os::write_minidump(file.handle, nullptr), 0u);
    os::close_dump_file(file.handle);
    MiniDump dump(kalvor_test::read_file(path));
    ASSERT_TRUE(dump.valid());
    EXPECT_LT(dump.size(), before.size());
    EXPECT_FALSE(dump.has(6));
    EXPECT_GE(dump.n_threads(), 1u);
}

TEST(MiniDumpFile, FailuresHaveANumber) {
    const kalvor_test::TemporaryFolder folder;
    const os::DumpFile nowhere = os::create_dump_file((folder / "missing" + "/a.dmp").c_str());
    EXPECT_EQ(nowhere.handle, -1);
    EXPECT_NE(nowhere.error, 0u);
    const os::DumpFile file = os::create_dump_file((folder / "a.dmp").c_str());
    ASSERT_NE(file.handle, -1);
    os::close_dump_file(file.handle);
    EXPECT_NE(os::write_minidump(file.handle, nullptr), 0u);
}
