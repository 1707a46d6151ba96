// What only this system's files can show.
#include "os/file.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "os/windows/wide_path.h"
#include "support/temporary_folder.h"

using namespace trel;
using kalvor_test::TemporaryFolder;
using namespace trel::os;

TEST(WindowsFileTest, PathsBecomeWide) {
    std::wstring wide;
    DWORD error = 0;
    ASSERT_TRUE(wide_path("a/\xcf\x80\\\xf0\x9f\x98\x80", wide, error));
    EXPECT_EQ(wide, L"a/\u03c0\\\U0001f600");
    ASSERT_TRUE(wide_path("", wide, error));
    EXPECT_EQ(wide, L"");
    EXPECT_FALSE(wide_path("a\xff", wide, error));
    EXPECT_EQ(error, static_cast<DWORD>(ERROR_NO_UNICODE_TRANSLATION));
    // Long ones become absolute, with one kind of separator.
    ASSERT_TRUE(wide_path(("C:/x/../" + std::string(300, 'y')).c_str(), wide, error));
    EXPECT_EQ(wide, L"\\\\?\\C:\\" + std::wstring(300, L'y'));
    ASSERT_TRUE(wide_path(("\\\\server\\share\\" + std::string(300, 'y')).c_str(), wide, error));
    EXPECT_EQ(wide, L"\\\\?\\UNC\\server\\share\\" + std::wstring(300, L'y'));
    const std::wstring kept = wide;
    ASSERT_TRUE(wide_path(("\\\\?\\C:\\" + std::string(300, 'y')).c_str(), wide, error));
    EXPECT_EQ(wide, L"\\\\?\\C:\\" + std::wstring(300, L'y'));
}

TEST(WindowsFileTest, BothSeparators) {
    EXPECT_TRUE(is_path_separator('\\'));
    const TemporaryFolder folder;
    folder.write("a", "x");
    std::string path = folder.file("a");
    for (char& c : path) {
        if (c == '/') c = '\\';
    }
    const OpenedFile opened = open_file(path.c_str(), FileAccess::read, {});
    ASSERT_FALSE(opened.error);
    EXPECT_FALSE(close_file(opened.handle));
}

TEST(WindowsFileTest, InvalidTextNamesNoFile) {
    const OpenedFile opened = open_file("a\xff", FileAccess::create, {});
    EXPECT_EQ(opened.handle, kNoFile);
    EXPECT_EQ(opened.error.code, static_cast<u32>(ERROR_NO_UNICODE_TRANSLATION));
}

// A file that somebody holds open can be neither replaced nor deleted: it is in the way.
TEST(WindowsFileTest, AnUndeletableTargetIsInTheWay) {
    const TemporaryFolder folder;
    folder.write("a", "new");
    folder.write("b", "old");
    const OpenedFile held = open_file(folder.file("b").c_str(), FileAccess::read, {});
    ASSERT_FALSE(held.error);
    const OsError onto = rename_file(folder.file("a").c_str(), folder.file("b").c_str());
    EXPECT_EQ(onto.category, ErrorCategory::exists);
    EXPECT_EQ(onto.code, 17U);
    EXPECT_TRUE(remove_file(folder.file("b").c_str()));
    // The source is at fault: the target must not be taken for it.
    const OsError from = rename_file(folder.file("b").c_str(), folder.file("a").c_str());
    EXPECT_EQ(from.category, ErrorCategory::sharing);
    EXPECT_EQ(from.code, 13U);
    EXPECT_FALSE(close_file(held.handle));
    EXPECT_EQ(folder.read("a"), "new");
    EXPECT_EQ(folder.read("b"), "old");
}
