// The benchmark's menu and action: lists on a machine of the test's, sizes of the test's.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "app/benchmark/bench_command.h"
#include "app/benchmark/benchmark_menu.h"
#include "app/benchmark/benchmark_run.h"
#include "app/session/memory_plan.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/prompt/number_text.h"
#include "support/authorized.h"
#include "support/capture_console.h"
#include "support/columns.h"
#include "support/message_of.h"
#include "support/temporary_folder.h"

using kalvor_test::authorized;
using kalvor_test::TemporaryFolder;

namespace kalvor {
namespace {

BenchmarkMachine machine(u64 processors, u64 available) {
    BenchmarkMachine machine{processors, {}};
    machine.memory.available_physical = available;
    return machine;
}

constexpr const char* kType =
    "Benchmark Pi:\nSelect a Benchmark Type:\n\n  0     Single-Threaded\n  1     Multi-Threaded\n\noption: ";

std::string memory_of(u64 digits) {
    const ComputeSettings settings = benchmark_settings(digits);
    return Console::format_bytes(RunPlan::make(settings, settings.size).memory.logical());
}

TEST(BenchmarkSizesTest, NamesAreCaseSensitive) {
    const BenchmarkSizes& sizes = BenchmarkSizes::usual();
    EXPECT_EQ(sizes.find("1m"), nullptr);
    EXPECT_EQ(sizes.find("1M")->digits, 1048576u);
    EXPECT_EQ(sizes.find("25m")->digits, 25000000u);
    EXPECT_EQ(sizes.find("2.5t")->digits, 2500000000000u);
    EXPECT_EQ(sizes.find("128G")->digits, 137438953472u);
    EXPECT_EQ(sizes.find(""), nullptr);
    EXPECT_EQ(sizes.presets.size(), 16u);
    ASSERT_EQ(sizes.superpi.size(), 18u);
    constexpr std::pair<const char*, u64> kPresets[] = {
        {"25m", 25000000},      {"50m", 50000000},      {"100m", 100000000},   {"250m", 250000000},
        {"500m", 500000000},    {"1b", 1000000000},     {"2.5b", 2500000000},  {"5b", 5000000000},
        {"10b", 10000000000},   {"25b", 25000000000},   {"50b", 50000000000},  {"100b", 100000000000},
        {"250b", 250000000000}, {"500b", 500000000000}, {"1t", 1000000000000}, {"2.5t", 2500000000000}};
    for (u64 i = 0; i < 16; i++) {
        EXPECT_EQ(sizes.presets[i].option, i + 1);
        EXPECT_EQ(sizes.presets[i].name, kPresets[i].first);
        EXPECT_EQ(sizes.presets[i].digits, kPresets[i].second);
    }
    for (u64 i = 0; i < 18; i++) {
        EXPECT_EQ(sizes.superpi[i].option, 20 + i);
        EXPECT_EQ(sizes.superpi[i].digits, u64(1) << (20 + i));
        // The name says the same in the console's number rule.
        EXPECT_EQ(Prompt::parse_number(sizes.superpi[i].name), static_cast<i128>(sizes.superpi[i].digits));
    }
}

TEST(BenchmarkMenuTest, ListOfThePresets) {
    CaptureConsole console;
    console.type({"2", "1", "17"});  // no type; many threads; no size
    EXPECT_THROW(run_benchmark_menu(authorized(), BenchmarkSizes::usual(), machine(8, u64(1) << 30)),
                 EndOfStreamException);
    const std::string text = console.take();
    EXPECT_EQ(text.rfind(std::string(kType) +
                             "option: \nAvailable Memory:   1.00 GiB\n"
                             "Option      Decimal Digits          Approx. Memory Needed\n\n"
                             "  1             25,000,000                " +
                             memory_of(25000000) + "\n  2             50,000,000                " +
                             memory_of(50000000) + "\n",
                         0),
              0u)
        << text;
    EXPECT_TRUE(text.ends_with("\n  0     I prefer SuperPi sizes... (1M, 2M, 4M...)\n\noption: option: "))
        << text;
    EXPECT_NE(text.find("\n 16      2,500,000,000,000                "), std::string::npos) << text;
    std::istringstream lines(text);
    u64 rows = 0;
    for (std::string row; std::getline(lines, row);) {
        if (row.size() < 42 || row.substr(26, 16) != std::string(16, ' ')) continue;
        EXPECT_TRUE(row[25] >= '0' && row[25] <= '9') << row;
        rows++;
    }
    EXPECT_EQ(rows, 16u);
}

TEST(BenchmarkMenuTest, WhatTheMachineHasNoMemoryForIsDim) {
    CaptureConsole console(CaptureConsole::terminal, true);
    console.type({"1"});
    const ComputeSettings settings = benchmark_settings(25000000);
    const u64 just = RunPlan::make(settings, settings.size).memory.total();
    EXPECT_THROW(run_benchmark_menu(authorized(), BenchmarkSizes::usual(), machine(2, just)),
                 EndOfStreamException);
    const std::string text = console.take();
    EXPECT_NE(text.find("{G}             25,000,000                {Y}" + memory_of(25000000)),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("{g}             50,000,000                {y}" + memory_of(50000000)),
              std::string::npos)
        << text;
}

TEST(BenchmarkMenuTest, OneProcessorHasNoTypes) {
    CaptureConsole console;
    EXPECT_THROW(run_benchmark_menu(authorized(), BenchmarkSizes::usual(), machine(1, u64(1) << 30)),
                 EndOfStreamException);
    EXPECT_EQ(console.text().rfind("Benchmark Pi:\n\nAvailable Memory:   ", 0), 0u) << console.text();
}

TEST(BenchmarkMenuTest, ListOfThePowersOfTwo) {
    CaptureConsole console;
    console.type({"1", "0", "19", "38", "3M"});  // none of them is a size
    EXPECT_THROW(run_benchmark_menu(authorized(), BenchmarkSizes::usual(), machine(2, u64(1) << 30)),
                 EndOfStreamException);
    const std::string text = console.take();
    EXPECT_NE(text.find("\n  1M   -         1,048,576                " + memory_of(1048576) + "\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("\n128G   -   137,438,953,472                " + memory_of(u64(1) << 37) + "\n"),
              std::string::npos)
        << text;
    EXPECT_TRUE(
        text.ends_with("\nEnter 20 for 1M, 21 for 2M, ... 37 for 128G.\n\noption: option: option: option: "))
        << text;
}

TEST(BenchmarkMenuTest, FitsEightyColumns) {
    CaptureConsole console;
    console.type({"1", "0"});
    EXPECT_THROW(run_benchmark_menu(authorized(), BenchmarkSizes::usual(), machine(2, u64(1) << 50)),
                 EndOfStreamException);
    const std::string text = console.take();
    EXPECT_NE(text.find("128G"), std::string::npos);
    EXPECT_EQ(kalvor_test::too_wide(text), "");
}

// Sizes that a test can run.
constexpr BenchmarkSize kSmall[] = {{"5k", 5000, 1}};
constexpr BenchmarkSize kPowers[] = {{"4K", 4096, 12}, {"8K", 8192, 13}};
constexpr BenchmarkSizes kSmallSizes{kSmall, kPowers};

// The rest of the line behind a text, without the blanks between them.
std::string behind(const std::string& text, const std::string& what) {
    const std::size_t at = text.find(what);
    EXPECT_NE(at, std::string::npos) << what << "\n" << text;
    if (at == std::string::npos) return "";
    const std::size_t from = text.find_first_not_of(' ', at + what.size());
    return text.substr(from, text.find_first_of("\r\n", from) - from);
}

class BenchCommandTest : public testing::Test {
  protected:
    bool bench(std::vector<std::string> words) {
        words.insert(words.begin(), {"kalvor", "bench"});
        CommandLine::ParameterList parameters(words);
        return run_bench(parameters, authorized(), kSmallSizes);
    }
    CaptureConsole console_;
    TemporaryFolder folder_;
};

TEST_F(BenchCommandTest, RunsASizeAndWritesItsDigits) {
    EXPECT_TRUE(bench({"-TD:1", "5k", "-PF:none", "-o", folder_.file("out")}));
    EXPECT_NE(console_.text().find("Decimal Digits:       5,000\n"), std::string::npos) << console_.text();
    EXPECT_EQ(folder_.read("out/Pi - Dec - Chudnovsky.txt").size(), 5002u);
    EXPECT_EQ(console_.text().find("No -dec"), std::string::npos);
}

TEST_F(BenchCommandTest, SaysThatTheDigitsAreRightOnlyWhenTheyWereCompared) {
    EXPECT_TRUE(bench({"4K", "-o", folder_.file("out")}));
    const std::string text = console_.text();
    const bool compared = text.find("Spot Check: Good through 1,000\n") != std::string::npos;
    EXPECT_EQ(text.find("Benchmark Successful. The digits appear to be OK.\n") != std::string::npos, compared)
        << text;
}

TEST(BenchmarkReportTest, DigitsThatWereNotComparedAreNotCalledRight) {
    CaptureConsole console;
    RunRecord record;
    for (const i64 position : {0, -1000, 1000}) {
        record.spot_check.position = position;
        report_benchmark(record);
        EXPECT_EQ(console.take(), position > 0 ? "Benchmark Successful. The digits appear to be OK.\n" : "");
    }
}

TEST_F(BenchCommandTest, Refusals) {
    const auto refusal = [&](const std::vector<std::string>& words) {
        return kalvor_test::message_of<InvalidParametersException>([&] { bench(words); });
    };
    EXPECT_EQ(refusal({"3m"}), "run_bench()|Invalid Command: 3m");
    EXPECT_EQ(refusal({"4k"}), "run_bench()|Invalid Command: 4k");
    EXPECT_EQ(refusal({"5k", "4K"}), "run_bench()|Invalid Command: 4K");
    EXPECT_EQ(refusal({"-o", folder_.file("out")}), "run_bench()|No benchmark size selected.");
    EXPECT_FALSE(folder_.has("out"));
}

TEST_F(BenchCommandTest, MenuRunsAnAnswerOfEitherKind) {
    for (const char* answer : {"13", "8192"}) {
        CaptureConsole console;
        console.type({"0", "0", answer});
        const std::filesystem::path before = std::filesystem::current_path();
        std::filesystem::current_path(folder_.path());
        EXPECT_TRUE(run_benchmark_menu(authorized(), kSmallSizes, machine(2, u64(1) << 30)));
        std::filesystem::current_path(before);
        EXPECT_NE(console.text().find("Decimal Digits:       8,192\n"), std::string::npos) << console.text();
        EXPECT_NE(console.text().find("None"), std::string::npos);
        EXPECT_EQ(folder_.read("Pi - Dec - Chudnovsky.txt").size(), 8194u);
        // The list has told what the run then announces.
        const std::string listed = behind(console.text(), "  8K   -             8,192 ");
        const std::string path = behind(console.text(), "\nValidation File:");
        const std::string announced = behind(kalvor_test::read_file(path), "\r\nTotal Memory:          ");
        EXPECT_TRUE(announced.ends_with(listed + ")")) << announced << " " << listed;
    }
}

// What the machine has no memory for leads back to the list. The way out is one that a menu has.
TEST_F(BenchCommandTest, MenuRefusesASizeThatDoesNotFit) {
    BenchmarkMachine small = machine(2, u64(1) << 20);
    small.memory.total_physical = u64(2) << 20;
    console_.type({"0", "1"});
    EXPECT_THROW(run_benchmark_menu(authorized(), kSmallSizes, small), EndOfStreamException);
    const std::string text = console_.take();
    EXPECT_NE(text.find("There is insufficient physical memory.\nThe computation needs "), std::string::npos)
        << text;
    EXPECT_NE(text.find("\nChoose fewer digits. On a command line -force:1 runs it anyway.\n"),
              std::string::npos)
        << text;
    EXPECT_TRUE(text.ends_with("I prefer SuperPi sizes... (1M, 2M, 4M...)\n\noption: ")) << text;
    EXPECT_EQ(text.find("Decimal Digits:"), std::string::npos) << text;
}

// A folder that holds the digits of a larger size. The user is told before anything runs, and decides.
TEST_F(BenchCommandTest, ASmallerSizeReplacesALongerFileOnlyWhenAsked) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder_.path());
    const auto menu = [](std::initializer_list<std::string> answers) {
        CaptureConsole console;
        console.type({"0", "0"});  // one thread, the powers of two
        console.type(answers);
        EXPECT_TRUE(run_benchmark_menu(authorized(), kSmallSizes, machine(2, u64(1) << 30)));
        EXPECT_EQ(console.lines_left(), 0u);
        return console.take();
    };
    constexpr const char* kFile = "Pi - Dec - Chudnovsky.txt";
    const std::string question =
        "\nPi - Dec - Chudnovsky.txt\n"
        "The digit file already there is longer: it has 8,192 digits, this size has\n"
        "4,096. Choose another size, or replace it.\n"
        "\n  0     Choose another size\n  1     Replace the file\n\noption: ";
    EXPECT_EQ(menu({"13"}).find("Replace the file"), std::string::npos);
    // The same size again is not a question.
    EXPECT_EQ(menu({"13"}).find("Replace the file"), std::string::npos);
    const std::string longer = folder_.read(kFile);
    EXPECT_EQ(longer.size(), 8194u);
    const std::string kept = menu({"12", "2", "0", "0", "13"});
    EXPECT_NE(kept.find(question + "option: \nAvailable Memory:   "), std::string::npos) << kept;
    EXPECT_NE(kept.find("Decimal Digits:       8,192\n"), std::string::npos) << kept;
    EXPECT_EQ(kept.find("Decimal Digits:       4,096\n"), std::string::npos) << kept;
    EXPECT_EQ(folder_.read(kFile), longer);
    const std::string replaced = menu({"12", "1"});
    EXPECT_NE(replaced.find(question), std::string::npos) << replaced;
    EXPECT_EQ(folder_.read(kFile), longer.substr(0, 4098));
    std::filesystem::current_path(before);
}

TEST_F(BenchCommandTest, SentencesOfRefusals) {
    EXPECT_THROW(bench({"5k", "4K"}), InvalidParametersException);
    EXPECT_NE(console_.take().find("bench: one size at a time, and \"5k\" is named already.\n"),
              std::string::npos);
    EXPECT_THROW(bench({"-o", folder_.file("out")}), InvalidParametersException);
    EXPECT_NE(console_.take().find("bench needs a size: bench 5k.\nSee \"kalvor help bench\".\n"),
              std::string::npos);
}

TEST_F(BenchCommandTest, TheHelpPageNamesEverySizeAndOption) {
    std::string page;
    for (const std::string& text : bench_help_page()) {
        EXPECT_LE(text.size(), 79u) << text;
        page += text + "\n";
    }
    EXPECT_NE(page.find("\n    25m, 50m, "), std::string::npos) << page;
    EXPECT_NE(page.find(",\n    1t, 2.5t\n    1M, 2M, "), std::string::npos) << page;
    for (const char* word : {"2.5t", "128G", "-o <folder>", "-TD:<n>", "-PF:<name>", "-MA:<name>", "-od"})
        EXPECT_NE(page.find(word), std::string::npos) << word << "\n" << page;
    EXPECT_EQ(page.find("-hex"), std::string::npos);
}

}  // namespace
}  // namespace kalvor
