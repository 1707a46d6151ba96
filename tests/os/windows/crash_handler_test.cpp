#include "os/crash_handler.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>

#include "os/windows/utf8.h"
#include "support/run_program.h"

using namespace trel;

// The system writes the stacks as they are; where they cannot be cleared afterwards nothing is left of them.
TEST(MiniDumpFileTest, IsEmptyWhenItCannotBeRead) {
    const kalvor_test::TemporaryFolder folder;
    const std::wstring path = os::to_utf16(folder / "a.dmp");
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_EQ(os::write_minidump(reinterpret_cast<i64>(file), nullptr), DWORD(ERROR_ACCESS_DENIED));
    CloseHandle(file);
    EXPECT_TRUE(std::filesystem::is_empty(path));
}
