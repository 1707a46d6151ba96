// The validation file of a run, as a user has it checked.
#include <gtest/gtest.h>

#include "support/run_program.h"
#include "support/temporary_folder.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::run_in;
using kalvor_test::TemporaryFolder;

// The exit code is for scripts: 0 for a file as the program wrote it, 1 for any other.
TEST(ValidationTest, TheFileOfARunIsCheckedByTheWord) {
    TemporaryFolder folder;
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:1000", "-od:0", "-o", "out"});
    ASSERT_EQ(run.exit_code, 0) << run.out << run.err;
    const std::string path = run.value("Validation File:");
    ASSERT_TRUE(path.ends_with(".txt")) << run.out;
    const ProgramRun sound = run_in(folder, {"validate", path});
    EXPECT_EQ(sound.exit_code, 0) << sound.out << sound.err;
    EXPECT_TRUE(sound.has("Validation Passed!\n")) << sound.out;
    EXPECT_EQ(run_in(folder, {"validate", path.substr(0, path.size() - 4)}).exit_code, 0);

    std::string text = kalvor_test::read_file(path);
    const std::size_t digits = text.find("1,000");
    ASSERT_NE(digits, std::string::npos) << text;
    text[digits] = '2';
    folder.write("changed.txt", text);
    const ProgramRun changed = run_in(folder, {"validate", "changed"});
    EXPECT_EQ(changed.exit_code, 1) << changed.out << changed.err;
    EXPECT_FALSE(changed.has("Validation Passed!")) << changed.out;
    EXPECT_TRUE(changed.has("Validation Failed: File is either invalid or has been tampered with.\n"))
        << changed.out;
    EXPECT_EQ(run_in(folder, {"validate", "nothing"}).exit_code, 1);
}

}  // namespace
