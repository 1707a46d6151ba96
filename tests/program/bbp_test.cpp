// "kalvor bbp" as a user runs it.
#include <gtest/gtest.h>

#include "support/run_program.h"

namespace {

using namespace kalvor_test;

TEST(BbpTest, DigitsAtAMillionFromBothFormulas) {
    TemporaryFolder folder;
    for (const char* formula : {"-formula:0", "-formula:1"}) {
        const ProgramRun run = run_in(folder, {"bbp", formula, "-offset:1m", "-digits:32"});
        EXPECT_EQ(run.exit_code, 0) << run.err;
        EXPECT_TRUE(run.has("Hexadecimal Digits starting from: 16^-1000001\n")) << run.out;
        EXPECT_TRUE(run.has("\n  6C65E52C B4593500 50E4BB17 8F4C67A0 ")) << run.out;
        // Neither progress nor colours where nobody sees them.
        EXPECT_FALSE(run.has("%") || run.has("\x1b")) << run.out;
    }
    EXPECT_TRUE(folder.files().empty());
}

// Digits 100,001 to 101,000 twice: in the file of a computation of Pi, and by themselves.
TEST(BbpTest, DigitsOfARun) {
    TemporaryFolder folder;
    ASSERT_EQ(run_in(folder, {"custom", "pi", "-dec:130k", "-hex:1", "-o", "."}).exit_code, 0);
    std::string file = read_file(folder / "Pi - Hex - Chudnovsky.txt");
    file.erase(0, file.find('.') + 1);
    ASSERT_GT(file.size(), 101000u);
    for (const char* formula : {"-formula:0", "-formula:1"}) {
        const ProgramRun run = run_in(folder, {"bbp", formula, "-offset:100k", "-digits:1000"});
        const std::string begin = "16^-100001\n\n", end = "\n\nGreen";
        const auto first = run.out.find(begin) + begin.size(), last = run.out.find(end);
        ASSERT_LT(first, last) << run.out;
        std::string digits;
        for (const char c : run.out.substr(first, last - first)) {
            if (c >= '0' && c <= '9') digits += c;
            if (c >= 'A' && c <= 'F') digits += static_cast<char>(c - 'A' + 'a');
        }
        ASSERT_EQ(digits.size(), 1016u);
        EXPECT_EQ(digits.substr(0, 1000), file.substr(100000, 1000)) << formula;
    }
}

TEST(BbpTest, TheMenuStartsAComputation) {
    TemporaryFolder folder;
    RunOptions options;
    options.input = "2\n1000\n3\n8\n0\n";
    const ProgramRun run = run_in(folder, {"bbp"}, options);
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_TRUE(run.has("\n  49F1C09B 075372C9 80991F46\n")) << run.out;
    options.input = "2\n";
    EXPECT_EQ(run_in(folder, {"bbp"}, options).exit_code, 1);
}

TEST(BbpTest, WhatCannotStartIsAnError) {
    TemporaryFolder folder;
    const ProgramRun run = run_in(folder, {"bbp", "-offset:922337203684428988"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.err, "\nCannot Start: Divisor exceeds limit of 2^61 - 1.\nSee \"kalvor help bbp\".\n");
    const ProgramRun unknown = run_in(folder, {"bbp", "1b"});
    EXPECT_EQ(unknown.exit_code, 1);
    EXPECT_TRUE(unknown.has("\nInvalid Parameter: 1b\n")) << unknown.err;
}

}  // namespace
