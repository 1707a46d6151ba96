#include "platform/fileio/small_file.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "fault/faulty_file.h"
#include "support/temporary_folder.h"

using kalvor_test::FaultyFile;
using kalvor_test::TemporaryFolder;
using trel::FileIO::read_small_file;

namespace {

using Call = FaultyFile::Call;

TEST(SmallFileTest, AllBytesOrNothing) {
    const TemporaryFolder folder;
    const std::string path = folder.file("name.txt"), text("two\r\nlines\0\xff", 12);
    EXPECT_EQ(read_small_file(path, 100), std::nullopt) << "missing";
    folder.write("name.txt", text);
    EXPECT_EQ(read_small_file(path, 100), text);
    EXPECT_EQ(read_small_file(path, text.size()), text);
    EXPECT_EQ(read_small_file(path, text.size() - 1), std::nullopt);
    EXPECT_EQ(read_small_file(folder.path(), 100), std::nullopt) << "a folder";
    folder.write("name.txt", "");
    EXPECT_EQ(read_small_file(path, 100), "");
}

TEST(SmallFileTest, AFailureIsNothingAndLeavesNoHandle) {
    const TemporaryFolder folder;
    folder.write("name.txt", "content");
    const std::string path = folder.file("name.txt");
    for (const Call call : {Call::open, Call::size, Call::read}) {
        FaultyFile disk;
        disk.fail(call, 1, {5, trel::os::ErrorCategory::read_fault});
        EXPECT_EQ(read_small_file(path, 100, disk.file_calls()), std::nullopt) << FaultyFile::name(call);
        EXPECT_EQ(disk.count(Call::close), call == Call::open ? 0u : 1u) << FaultyFile::name(call);
    }
    FaultyFile disk;
    disk.short_read(1, 3);
    EXPECT_EQ(read_small_file(path, 100, disk.file_calls()), std::nullopt);
    EXPECT_EQ(disk.count(Call::close), 1u);
    FaultyFile closing;
    closing.fail(Call::close, 1, {5, trel::os::ErrorCategory::other});
    EXPECT_EQ(read_small_file(path, 100, closing.file_calls()), "content");
}

}  // namespace
