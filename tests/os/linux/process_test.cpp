#include "os/process.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "support/child.h"
#include "support/fake_root.h"
#include "support/run_program.h"

using namespace trel;

namespace {

const kalvor_test::Child print_path("print path", [] {
    std::printf("<%s>", os::executable_path().value_or("none").c_str());
});

}  // namespace

TEST(ProcessPriorityTest, NiceValues) {
    EXPECT_EQ(os::system_priority_of_level(-5), 19);
    EXPECT_EQ(os::system_priority_of_level(-2), 19);
    EXPECT_EQ(os::system_priority_of_level(-1), 10);
    EXPECT_EQ(os::system_priority_of_level(0), 0);
    EXPECT_EQ(os::system_priority_of_level(1), -5);
    EXPECT_EQ(os::system_priority_of_level(2), -10);
    EXPECT_EQ(os::system_priority_of_level(3), -20);
    EXPECT_EQ(os::system_priority_of_level(7), -20);
}

TEST(CommandLineTest, IsWhatMainGot) {
    std::string program = "kalvor", word = "pi:\xc3\xa4";
    char* words[] = {program.data(), word.data(), nullptr};
    EXPECT_EQ(os::command_line(2, words), (std::vector<std::string>{program, word}));
    EXPECT_TRUE(os::command_line(0, words + 2).empty());
}

// Longer than the first buffer of 520 characters, and than the second; and about as long as the first.
TEST(ExecutablePathTest, MayBeLong) {
    const kalvor_test::TemporaryFolder folder;
    const std::string program = *os::executable_path();
    for (const size_t length :
         {size_t(518), size_t(519), size_t(520), size_t(521), size_t(1041), size_t(2000)}) {
        std::string path = std::filesystem::canonical(folder.path()).string();
        while (path.size() + 202 < length) path += "/" + std::string(100, 'd');
        std::filesystem::create_directories(path);
        path += "/" + std::string(length - path.size() - 1, 'p');
        ASSERT_EQ(path.size(), length);
        std::filesystem::copy_file(program, path);
        const kalvor_test::ProgramRun run = kalvor_test::run_program(path, {"--child", "print path"});
        std::filesystem::remove(path);
        EXPECT_EQ(run.exit_code, 0);
        EXPECT_NE(run.out.find("<" + path + ">"), std::string::npos) << length << "\n" << run.out;
    }
}

TEST(DebuggerTest, TheSystemNamesItsProcess) {
    const FakeRoot root;
    EXPECT_FALSE(os::is_debugger_present(root.path()));
    root.file("/proc/self/status", "Name:\tkalvor\nState:\tR (running)\nTracerPid:\t0\nUid:\t1\n");
    EXPECT_FALSE(os::is_debugger_present(root.path()));
    root.file("/proc/self/status", "Name:\tTracerPid\nTracerPid:\t4711\nUid:\t1\n");
    EXPECT_TRUE(os::is_debugger_present(root.path()));
    root.file("/proc/self/status", "TracerPid:\t\n");
    EXPECT_FALSE(os::is_debugger_present(root.path()));
}
