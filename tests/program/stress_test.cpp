// "kalvor stress" as a user runs it.
#include <gtest/gtest.h>

#include "support/run_program.h"

namespace {

using namespace kalvor_test;

const std::string kFinished = "\nTest Finished. Waiting for threads to terminate...\n";

TEST(StressTest, ARunOfTwoSeconds) {
    TemporaryFolder folder;
    const ProgramRun run = run_in(folder, {"stress", "-pertest:1", "-total:2", "-M:64M", "-cores:0"});
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_TRUE(run.has("Parsing Core -> Handle Mappings...\n    Cores:  0")) << run.out;
    EXPECT_TRUE(run.has("\nAllocating Memory...\nWorking Memory...  64.0 MiB  ( 64.0 MiB per thread )"))
        << run.out;
    EXPECT_TRUE(run.has("\nIteration 1\n\nRunning BKT - Basecase + Karatsuba\nPassed\n  Test Time:  "))
        << run.out;
    EXPECT_NE(run.out.find(kFinished), std::string::npos) << run.out;
    // Neither progress nor colours in redirected output. A share of locked memory is not progress.
    EXPECT_FALSE(run.has(" %") || run.has("\r") || run.has("\x1b")) << run.out;
    EXPECT_TRUE(folder.files().empty());
}

TEST(StressTest, TheMenuStartsIt) {
    TemporaryFolder folder;
    RunOptions options;
    options.input = "8\n12\n2\n1M\n5\n1\n0\n";
    const ProgramRun run = run_in(folder, {"stress"}, options);
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_TRUE(run.has("\nRunning BBP - BBP Digit Extraction\nPassed\n")) << run.out;
    options.input = "8\n";
    EXPECT_EQ(run_in(folder, {"stress"}, options).exit_code, 1);
}

TEST(StressTest, ItsSettingsFile) {
    TemporaryFolder folder;
    const ProgramRun saved = run_in(folder, {"stress", "SFT", "-pertest:1", "-total:1", "-M:4M", "-cores:0",
                                             "-local:0", "-stop:0", "-save", "short"});
    EXPECT_EQ(saved.exit_code, 0) << saved.err;
    EXPECT_TRUE(saved.has("Written: short.cfg\n")) << saved.out;
    EXPECT_FALSE(saved.has("Allocating")) << saved.out;
    EXPECT_EQ(folder.files(), std::vector<std::string>{"short.cfg"});
    EXPECT_NE(
        folder.read("short.cfg")
            .find(
                "    StressTest : {\r\n        LogicalCores : [0]\r\n        AllocateLocally : \"false\"\r\n"
                "        TotalMemory : 4194304\r\n        SecondsPerTest : 1\r\n"
                "        SecondsTotal : 1\r\n        StopOnError : \"false\"\r\n        Tests : "
                "[\"SFT\"]\r\n"),
        std::string::npos)
        << folder.read("short.cfg");
    const ProgramRun run = run_in(folder, {"config", "short"});
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_TRUE(run.has("\nRunning SFT - Small In-Cache FFT\nPassed\n")) << run.out;

    folder.write("wrong.cfg", "{ Action : \"StressTest\" StressTest : { LogicalCores : [70000] } }");
    const ProgramRun wrong = run_in(folder, {"config", "wrong"});
    EXPECT_EQ(wrong.exit_code, 1);
    const size_t first = wrong.err.find("\n\nInvalid core #: 70000\n");
    EXPECT_NE(first, std::string::npos) << wrong.err;
    EXPECT_LT(first, wrong.err.find("\n\nCannot run stress test with these parameters.\n")) << wrong.err;
}

TEST(StressTest, WhatCannotRunIsAnError) {
    TemporaryFolder folder;
    const ProgramRun little = run_in(folder, {"stress", "C17", "-M:4096", "-cores:0"});
    EXPECT_EQ(little.exit_code, 1);
    EXPECT_TRUE(little.has("\nInsufficient memory to run this test.\n")) << little.out;
    EXPECT_NE(little.out.find(kFinished), std::string::npos) << little.out;
    const ProgramRun unknown = run_in(folder, {"stress", "25m"});
    EXPECT_EQ(unknown.exit_code, 1);
    EXPECT_TRUE(unknown.has("\nInvalid Command: 25m\n")) << unknown.err;
    const ProgramRun core = run_in(folder, {"stress", "-cores:0-65535"});
    EXPECT_EQ(core.exit_code, 1);
    EXPECT_TRUE(core.has("\nInvalid core #: ")) << core.err;
    const ProgramRun help = run_in(folder, {"help", "stress"});
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_TRUE(help.has("    -pertest:<s> ")) << help.out;
}

}  // namespace
