#include "os/process.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>

#include "support/child.h"
#include "support/run_program.h"

using namespace trel;

const kalvor_test::Child print_words("print words", [] {
    for (const std::string& word : os::command_line(0, nullptr)) std::printf("[%s]", word.c_str());
});

TEST(CommandLine, WordsAreUtf8) {
    const kalvor_test::ProgramRun run = kalvor_test::run_this_test(
        {"--child", "print words", "pi:\xcf\x80", "two words", "a \"quoted\" one", "ends in \\", "", "\\\""});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_NE(run.out.find("[pi:\xcf\x80][two words][a \"quoted\" one][ends in \\][][\\\"]"),
              std::string::npos)
        << run.out;
}

TEST(ProcessPriority, Classes) {
    const struct {
        i32 level;
        DWORD priority_class;
    } rows[] = {{-5, IDLE_PRIORITY_CLASS},         {-2, IDLE_PRIORITY_CLASS},
                {-1, BELOW_NORMAL_PRIORITY_CLASS}, {1, ABOVE_NORMAL_PRIORITY_CLASS},
                {2, HIGH_PRIORITY_CLASS},          {3, REALTIME_PRIORITY_CLASS},
                {7, REALTIME_PRIORITY_CLASS},      {0, NORMAL_PRIORITY_CLASS}};
    for (const auto& row : rows) {
        EXPECT_EQ(static_cast<DWORD>(os::system_priority_of_level(row.level)), row.priority_class);
        os::set_process_priority(row.level);
        EXPECT_EQ(GetPriorityClass(GetCurrentProcess()), row.priority_class) << row.level;
    }
}

TEST(ExecutablePath, HasTheProgramsSeparators) {
    const std::string path = os::executable_path().value_or("");
    EXPECT_TRUE(path.ends_with(".exe")) << path;
    EXPECT_NE(path.find('/'), std::string::npos) << path;
    EXPECT_EQ(path.find('\\'), std::string::npos) << path;
}
