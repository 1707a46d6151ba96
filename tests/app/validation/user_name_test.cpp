#include "app/validation/user_name.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/temporary_folder.h"

namespace kalvor {
namespace {

constexpr const char* kNoTag = "Tag not found in Username.txt";

TEST(UserNameTest, TheFirstLineWithTheTag) {
    EXPECT_EQ(user_name_of("Username: Jane"), "Jane");
    EXPECT_EQ(user_name_of("Username:    Jane Doe  \r\n"), "Jane Doe  ");
    EXPECT_EQ(user_name_of("\n\r\nnothing\nmy Username: a Username: b\nUsername: c"), "a Username: b");
    EXPECT_EQ(user_name_of("# Username: not this\nUsername:this"), "this");
    EXPECT_EQ(user_name_of(" # Username: this\n"), "this");
    EXPECT_EQ(user_name_of("Username: J\xc3\xb6rg \xff"), "J\xc3\xb6rg \xff");
    EXPECT_EQ(user_name_of("Username: one\ttwo"), "one");
    EXPECT_EQ(user_name_of(std::string("Username: one\0two", 17)), "one");
    EXPECT_EQ(user_name_of("Username: one\x7f"), "one\x7f");
    EXPECT_EQ(user_name_of("Username:\nUsername: x"), "");
    EXPECT_EQ(user_name_of("Username:     "), "");
}

TEST(UserNameTest, WithoutTheTag) {
    for (const char* file : {"", "\n\n", "# Username: x", "username: x", "Username x"}) {
        EXPECT_EQ(user_name_of(file), kNoTag) << file;
    }
}

TEST(UserNameTest, TheFileBesideTheProgramOrAbove) {
    const kalvor_test::TemporaryFolder folder;
    std::filesystem::create_directory(folder.file("bin"));
    const std::string program = folder.file("bin/");
    EXPECT_EQ(user_line(program), "Username.txt not found.");
    folder.write("Username.txt", "Username: above");
    EXPECT_EQ(user_line(program), "above");
    // The first file counts, also without the tag.
    folder.write("bin/Username.txt", "no tag");
    EXPECT_EQ(user_line(program), kNoTag);
    folder.write("bin/Username.txt", "Username: beside\n");
    EXPECT_EQ(user_line(program), "beside");
}

TEST(UserNameTest, AFileOfAGigabyteIsAnother) {
    const kalvor_test::TemporaryFolder folder;
    folder.write("Username.txt", "Username: large");
    std::filesystem::resize_file(folder.file("Username.txt"), 1 << 30);
    EXPECT_EQ(user_line(folder.file("")), "Username.txt not found.");
    std::filesystem::resize_file(folder.file("Username.txt"), 1 << 20);
    EXPECT_EQ(user_line(folder.file("")), "large");
}

}  // namespace
}  // namespace kalvor
