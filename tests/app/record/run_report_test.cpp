// What closes a run, made from its record.
#include "app/record/run_report.h"

#include <gtest/gtest.h>

#include "base/status/linear_console_node.h"
#include "support/capture_console.h"

namespace kalvor {
namespace {

TEST(RunReportTest, WhatWasCheckedAndWhatWasNot) {
    EXPECT_EQ(checks_text({8, 6, true, true}, true), "series residues (6 of 8), conversion, written files");
    EXPECT_EQ(checks_text({8, 6, true, false}, false), "series residues (6 of 8), conversion");
    EXPECT_EQ(checks_text({8, 6, false, false}, true),
              "series residues (6 of 8); not checked: conversion, written files");
    EXPECT_EQ(checks_text({1, 0, true, false}, false), "conversion; not checked: series residues");
    EXPECT_EQ(checks_text({}, false), "nothing; not checked: conversion");
}

// With any of the checks switched off and on, in a line of 79 columns.
TEST(RunReportTest, TheChecksFitIntoOneLine) {
    for (const u64 checked : {0, 99}) {
        for (const bool conversion : {false, true}) {
            for (const bool files : {false, true}) {
                EXPECT_LE(checks_text({99, checked, conversion, files}, true).size(), 79U - 12);
            }
        }
    }
}

TEST(RunReportTest, HowManyChecks) {
    EXPECT_EQ(counts_of_checks({3, 2, true, true, 12345, 6789, 0}),
              "Checks: 12,345 products, 6,789 numbers, 0 errors");
    EXPECT_EQ(counts_of_checks({3, 2, true, true, 0, 0, 1}), "Checks: 0 products, 0 numbers, 1 error");
}

TEST(RunReportTest, DigitsFilesAndChecksCloseIt) {
    RunRecord record;
    record.decimal.emplace();
    record.decimal->first = "3.1415926535";
    record.decimal->last.text = "6535";
    record.files = {{"out/Pi.txt", 1000002}, {"\x1b]0;x\a/Pi.txt", 7}, {"out/Pi - 0.kvd", 1053231, 3}};
    record.checks = {3, 2, true, true, 12345, 1, 0};
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    print_run_report(record, status);
    const std::string text = console.text();
    EXPECT_NE(text.find("First Decimal Digits:\n3.1415926535\n\nLast Decimal Digits:\n6535\n"),
              std::string::npos)
        << text;
    const std::string end =
        "\nWritten:    out/Pi.txt  (1,000,002 bytes)\n"
        "Written:    \\x1b]0;x\\x07/Pi.txt  (7 bytes)\n"
        "Written:    out/Pi - 0.kvd  (3 files, 1,053,231 bytes)\n"
        "Verified:   series residues (2 of 3), conversion, written files\n"
        "Checks:     12,345 products, 1 number, 0 errors\n";
    ASSERT_GE(text.size(), end.size());
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
}

// Every line but those of paths fits into 80 columns, whatever the counts.
TEST(RunReportTest, CountsGoOnInTheNextLine) {
    RunRecord record;
    record.hexadecimal.emplace();
    record.hexadecimal->counts = DigitCounts(16);
    for (u64& count : record.hexadecimal->counts.count) count = 62500000000;
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    print_run_report(record, status);
    const std::string text = console.text();
    EXPECT_NE(text.find("\nHex Counts: {62500000000, 62500000000, 62500000000, 62500000000, 62500000000,\n"
                        "            62500000000, 62500000000, 62500000000, 62500000000, 62500000000,\n"
                        "            62500000000, 62500000000, 62500000000, 62500000000, 62500000000,\n"
                        "            62500000000}\n"),
              std::string::npos)
        << text;
}

}  // namespace
}  // namespace kalvor
