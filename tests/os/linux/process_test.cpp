#include "os/process.h"

#include <gtest/gtest.h>

using namespace trel;

TEST(ProcessPriority, NiceValues) {
    EXPECT_EQ(os::system_priority_of_level(-5), 19);
    EXPECT_EQ(os::system_priority_of_level(-2), 19);
    EXPECT_EQ(os::system_priority_of_level(-1), 10);
    EXPECT_EQ(os::system_priority_of_level(0), 0);
    EXPECT_EQ(os::system_priority_of_level(1), -5);
    EXPECT_EQ(os::system_priority_of_level(2), -10);
    EXPECT_EQ(os::system_priority_of_level(3), -20);
    EXPECT_EQ(os::system_priority_of_level(7), -20);
}

TEST(CommandLine, IsWhatMainGot) {
    std::string program = "kalvor", word = "pi:\xc3\xa4";
    char* words[] = {program.data(), word.data(), nullptr};
    EXPECT_EQ(os::command_line(2, words), (std::vector<std::string>{program, word}));
    EXPECT_TRUE(os::command_line(0, words + 2).empty());
}
