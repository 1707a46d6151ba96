// Errors on the standard error, results on the standard output.
#include "base/console/error_output.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "base/console/console.h"
#include "support/capture_console.h"
#include "support/run_program.h"

using namespace trel;

// Run as a program of its own by the test below.
TEST(ErrorOutputChild, Prints) {
    if (!std::getenv("KALVOR_TEST_ERROR_OUTPUT")) GTEST_SKIP() << "only as a child";
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
}

TEST(ErrorOutput, DividesTheStreams) {
    kalvor_test::RunOptions options;
    options.environment = {"KALVOR_TEST_ERROR_OUTPUT=1"};
    const auto run = kalvor_test::run_this_test({"--gtest_filter=ErrorOutputChild.Prints"}, options);
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.err, "error 1\nerror 2\n\nproblem\n");
    EXPECT_NE(run.out.find("result, of another thread\nthe end\n"), std::string::npos) << run.out;
}

TEST(ErrorOutput, ASinkGetsBothInTheirOrder) {
    CaptureConsole console(CaptureConsole::terminal, true);
    Console::print("a");
    Console::print_problem("b");
    Console::print("c");
    EXPECT_EQ(console.take(), "a\n{R}b\n{w}c");
}
