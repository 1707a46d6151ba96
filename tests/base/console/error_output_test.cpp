// Errors on the standard error, results on the standard output.
#include "base/console/error_output.h"

#include <gtest/gtest.h>

#include <thread>

#include "base/console/console.h"
#include "support/capture_console.h"
#include "support/child.h"
#include "support/run_program.h"

using namespace trel;

namespace {

const kalvor_test::Child prints("ErrorOutput", [] {
    Console::print("result, ");
    {
        const Console::ErrorOutput outer;
        Console::print_line("error 1");
        { const Console::ErrorOutput inner; }
        Console::print_line("error 2", 'R');
        std::thread([] { Console::print_line("of another thread"); }).join();
    }
    Console::print_problem("problem");
    Console::print_line("the end");
    Console::flush();
});

}  // namespace

TEST(ErrorOutputTest, DividesTheStreams) {
    const auto run = kalvor_test::run_this_test({"--child", "ErrorOutput"});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.err, "error 1\nerror 2\n\nproblem\n");
    EXPECT_EQ(run.out, "result, of another thread\nthe end\n");
}

TEST(ErrorOutputTest, ASinkGetsBothInTheirOrder) {
    CaptureConsole console(CaptureConsole::terminal, true);
    Console::print("a");
    Console::print_problem("b");
    Console::print("c");
    EXPECT_EQ(console.take(), "a\n{R}b\n{w}c");
}
