// The program without work to do: how to call it, the about page, console options, exit codes.
#include <gtest/gtest.h>

#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::run_kalvor;

TEST(UsageTest, NoConstantShowsTheMenuOfAComputation) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"custom"}, {"priority:-1", "skip-warnings", "custom"}}) {
        const ProgramRun run = run_kalvor(arguments);
        EXPECT_EQ(run.exit_code, 1) << run.out;  // nobody answers
        EXPECT_TRUE(run.has("\n\nCustom Compute a Constant\n\n  1     Constant:               Pi\n"))
            << run.out;
        EXPECT_EQ(run.err.rfind("\nThe input ended at a question.", 0), 0u) << run.err;
    }
}

// Without an action the menu comes up; nobody answers here.
TEST(UsageTest, NoActionShowsTheMainMenu) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{}, {"colors:0", "pause:-2"}}) {
        const ProgramRun run = run_kalvor(arguments);
        EXPECT_EQ(run.exit_code, 1) << run.out;
        const std::size_t banner = run.out.find("Kalvor v0.7.8 Build 9507                (");
        const std::size_t menu = run.out.find("\n\n  0         Benchmark Pi  (all in ram)\n");
        const std::size_t prompt = run.out.find("\n\nEnter your choice:\noption: ");
        EXPECT_LT(banner, menu) << run.out;
        EXPECT_LT(menu, prompt) << run.out;
        EXPECT_NE(prompt, std::string::npos) << run.out;
        EXPECT_TRUE(run.has("Exception Encountered: EndOfStreamException\n")) << run.out;
        EXPECT_EQ(run.out.find("Press any key", prompt) != std::string::npos, arguments.empty()) << run.out;
        EXPECT_EQ(run.err.rfind("\nThe input ended at a question.", 0), 0u) << run.err;
    }
}

TEST(UsageTest, StartsWithTheProcessorCheck) {
    const ProgramRun run = run_kalvor({"skip-warnings", "about"});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.out.rfind("\nChecking processor/OS features...\n\nRequired Features:\n"
                            "    x64, ABM, BMI1, BMI2, ADX,\n"
                            "    SSE, SSE2, SSE3, SSSE3, SSE4.1, SSE4.2,\n"
                            "    AVX, FMA3, AVX2,\n"
                            "    AVX512-(F/CD/VL/BW/DQ/IFMA/VBMI)\n\n",
                            0),
              0U)
        << run.out;
}

TEST(UsageTest, AboutPage) {
    const ProgramRun run = run_kalvor({"skip-warnings", "about"});
    EXPECT_TRUE(run.has("Kalvor - Euler's Constant to the eXtReMe\n")) << run.out;
    EXPECT_TRUE(run.has("Version: 0.7.8 Build 9507\n")) << run.out;
    EXPECT_TRUE(
        run.has("Disclaimer:\n"
                "Performing large multi-threaded computations using this program may\n"
                "subject your computer to extremely high levels of stress for extended\n"
                "periods of time. To protect your computer, MAKE SURE that your hardware\n"
                "is stable and fit before performing large computations. I will take\n"
                "absolutely no responsibility for any damage that may be caused by this\n"
                "program.\n"))
        << run.out;
}

TEST(UsageTest, AnOptionAfterTheActionIsNoConsoleOption) {
    const ProgramRun run = run_kalvor({"custom", "pi", "pause:-2"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(run.has("\nInvalid Parameter: pause:-2\n")) << run.out;
    // Right behind the action's word it is what the action expects there: a constant, a file.
    EXPECT_TRUE(run_kalvor({"custom", "pause:-2"}).has("\nInvalid Constant: pause\n"));
    EXPECT_TRUE(run_kalvor({"config", "skip-warnings"}).has("\nPath:   skip-warnings.cfg\n"));
}

// A script gets nothing but the answer, and no check of the machine before it.
TEST(UsageTest, HelpAndVersionAreAnsweredAtOnce) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"--version"}, {"version"}, {"colors:0", "--version"}}) {
        const ProgramRun run = run_kalvor(arguments);
        EXPECT_EQ(run.exit_code, 0);
        EXPECT_EQ(run.out, "Kalvor v0.7.8 Build 9507\n\n");
        EXPECT_EQ(run.err, "");
    }
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"--help"}, {"-h"}, {"help"}, {"about", "--help"}}) {
        const ProgramRun run = run_kalvor(arguments);
        EXPECT_EQ(run.exit_code, 0);
        EXPECT_EQ(run.out.rfind("Kalvor v0.7.8 Build 9507\n\nUsage:  kalvor ", 0), 0u) << run.out;
        EXPECT_EQ(run.err, "");
    }
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"help", "custom"},
                                               {"custom", "--help"},
                                               {"custom", "help"},
                                               {"custom", "pi", "-dec:1x", "-h"}}) {
        const ProgramRun run = run_kalvor(arguments);
        EXPECT_EQ(run.exit_code, 0);
        EXPECT_EQ(run.out.rfind("Usage:  kalvor [console options] custom <constant> [options]\n", 0), 0u)
            << run.out;
        EXPECT_TRUE(run.has("    -threads:<n>            ")) << run.out;
        EXPECT_EQ(run.err, "");
    }
    EXPECT_EQ(run_kalvor({"help", "config"}).exit_code, 0);
    const ProgramRun page = run_kalvor({"help", "custm"});
    EXPECT_EQ(page.exit_code, 1);
    EXPECT_TRUE(
        page.has("help: \"custm\" is not a page. Known: custom, config, bench, stress, bbp, digitviewer, "
                 "validate. Did you "
                 "mean \"custom\"?"));
}

TEST(UsageTest, AnOptionWithoutItsArgument) {
    const ProgramRun run = run_kalvor({"skip-warnings", "custom", "pi", "-o"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.err,
              "\n-o needs a value: -o <folder>.\nSee \"kalvor help custom\".\n"
              "Uncaught std exception: Expected more parameters.\n");
}

TEST(UsageTest, PauseNeverBlocksAtTheEndOfInput) {
    const ProgramRun run = run_kalvor({"pause:1", "skip-warnings", "about"});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_TRUE(run.has("Press any key to continue . . . ")) << run.out;
    EXPECT_FALSE(run_kalvor({"pause:-1", "skip-warnings", "about"}).has("Press any key"));
    EXPECT_TRUE(run_kalvor({"pause:-1", "skip-warnings", "nonsense"}).has("Press any key"));
    EXPECT_FALSE(run_kalvor({"pause:-2", "skip-warnings", "nonsense"}).has("Press any key"));
}

TEST(UsageTest, RedirectedOutputHasNoEscapesNorCarriageReturns) {
    const kalvor_test::TemporaryFolder folder;
    const ProgramRun run = kalvor_test::run_in(folder, {"custom", "pi", "-dec:1000", "-od:0"});
    EXPECT_EQ(run.exit_code, 0) << run.out;
    EXPECT_EQ(run.out.find('\x1b'), std::string::npos);
    EXPECT_EQ(run.out.find('\r'), std::string::npos);
}

}  // namespace
