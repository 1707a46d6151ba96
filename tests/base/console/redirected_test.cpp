// The standard output and input as files and pipes: this program is run again with both redirected.
#include <gtest/gtest.h>

#include "base/console/console_children.h"
#include "support/run_program.h"

namespace {

kalvor_test::ProgramRun run_child(const std::string& test, const std::string& input) {
    kalvor_test::RunOptions options;
    options.input = input;
    return kalvor_test::run_this_test({"--child", test}, options);
}

// What the child printed between the marks.
std::string on_pipes(const std::string& test, const std::string& input) {
    const kalvor_test::ProgramRun run = run_child(test, input);
    EXPECT_EQ(run.exit_code, 0);
    const std::size_t from = run.out.find("<<"), to = run.out.find(">>");
    return from == std::string::npos || to == std::string::npos ? "no marks: " + run.out
                                                                : run.out.substr(from + 2, to - from - 2);
}

}  // namespace

// From a file, nothing is read ahead: what follows a line is there for the next reader. No key is taken from
// it.
TEST(LinesTest, FromAPipe) {
    const auto piped = [](const std::string& input) { return on_pipes("Lines", input); };
    EXPECT_EQ(piped("one\ntwo\r\n\nklast"), "[one][two][][no key][klast]");
    EXPECT_EQ(piped("one\r\r\n\r\n"), "[one\r][][end][no key][end]");
    EXPECT_EQ(piped(""), "[end][end][end][no key][end]");
    EXPECT_EQ(piped("without an end"), "[without an end][end][end][no key][end]");
    const std::string longest(65536, 'x');
    EXPECT_EQ(piped(longest + "yyy\nnext\nz\nk"), "[" + longest + "][next][z][no key][k]");
}

// The texts are the same without a terminal, the escapes are not there.
TEST(RedirectedTest, HasNoEscapes) {
    EXPECT_EQ(on_pipes("Colors", ""), "BGTRPYbgtrpyw ");
    EXPECT_EQ(on_pipes("Resize", ""), "");
    EXPECT_EQ(on_pipes("Pause", "xy"),
              "Press any key to continue . . . \nPress any key to continue . . . \nnone shared");
}

// The pause is printed and nobody waited for.
TEST(FatalExitTest, NeverBlocksWithoutATerminal) {
    const kalvor_test::ProgramRun run = run_child("FatalExit", "");
    EXPECT_EQ(run.exit_code, 7);
    EXPECT_EQ(run.out, "<<\nbroken\n>>Press any key to continue . . . \n");
}

// Nobody could answer.
TEST(RedirectedTest, IsNotAttended) {
    EXPECT_EQ(on_pipes("Attended", "an answer\n"), "alone");
}
