#include "os/process.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "os/windows/module_path.h"
#include "support/child.h"
#include "support/run_program.h"

using namespace trel;

const kalvor_test::Child print_words("print words", [] {
    for (const std::string& word : os::command_line(0, nullptr)) std::printf("[%s]", word.c_str());
});

TEST(CommandLineTest, WordsAreUtf8) {
    const kalvor_test::ProgramRun run = kalvor_test::run_this_test(
        {"--child", "print words", "pi:\xcf\x80", "two words", "a \"quoted\" one", "ends in \\", "", "\\\""});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_NE(run.out.find("[pi:\xcf\x80][two words][a \"quoted\" one][ends in \\][][\\\"]"),
              std::string::npos)
        << run.out;
}

TEST(ProcessPriorityTest, Classes) {
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

TEST(ExecutablePathTest, HasTheProgramsSeparators) {
    const std::string path = os::executable_path().value_or("");
    EXPECT_TRUE(path.ends_with(".exe")) << path;
    EXPECT_NE(path.find('/'), std::string::npos) << path;
    EXPECT_EQ(path.find('\\'), std::string::npos) << path;
}

namespace {

// A system whose program has a path of that many characters.
size_t length_of_path = 0;
std::vector<DWORD> buffers;

DWORD WINAPI long_path(HMODULE, wchar_t* buffer, DWORD size) {
    buffers.push_back(size);
    for (DWORD i = 0; i < size; i++) buffer[i] = i < length_of_path ? L'p' : L'\0';
    if (length_of_path < size) return static_cast<DWORD>(length_of_path);
    buffer[size - 1] = L'\0';
    return size;
}

std::vector<DWORD> asked_for(size_t length) {
    length_of_path = length;
    buffers.clear();
    EXPECT_EQ(os::module_path(long_path), std::wstring(length, L'p'));
    return buffers;
}

}  // namespace

TEST(ExecutablePathTest, MayBeLong) {
    using Sizes = std::vector<DWORD>;
    EXPECT_EQ(asked_for(1), Sizes{520});
    EXPECT_EQ(asked_for(519), Sizes{520});
    EXPECT_EQ(asked_for(520), (Sizes{520, 1040}));
    EXPECT_EQ(asked_for(1040), (Sizes{520, 1040, 2080}));
    EXPECT_EQ(asked_for(32767), (Sizes{520, 1040, 2080, 4160, 8320, 16640, 33280}));
    length_of_path = 0;
    EXPECT_FALSE(os::module_path(long_path).has_value());
    EXPECT_EQ(os::without_long_prefix(L"C:\\bin\\kalvor.exe"), L"C:\\bin\\kalvor.exe");
    EXPECT_EQ(os::without_long_prefix(L"\\\\?\\C:\\bin\\kalvor.exe"), L"C:\\bin\\kalvor.exe");
    EXPECT_EQ(os::without_long_prefix(L"\\\\?\\UNC\\server\\bin\\kalvor.exe"),
              L"\\\\server\\bin\\kalvor.exe");
    EXPECT_EQ(os::without_long_prefix(L"\\\\server\\bin\\kalvor.exe"), L"\\\\server\\bin\\kalvor.exe");
}
