// The viewer's actions on files of known digits: what is shown, and what is written.
#include <gtest/gtest.h>

#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "digits/files/basic_kvd_set_reader.h"
#include "digits/output/digit_stats.h"
#include "digits/viewer/compress.h"
#include "digits/viewer/compute_stats.h"
#include "digits/viewer/extract_txt.h"
#include "digits/viewer/view_range.h"
#include "digits/viewer/viewer_files.h"
#include "support/capture_console.h"
#include "support/message_of.h"

namespace kalvor::DigitViewer2 {
namespace {

class ViewerActionsTest : public testing::Test {
  protected:
    std::unique_ptr<BasicDigitReader> text(const std::string& digits, const std::string& top = "3") {
        folder_.write("a.txt", top + "." + digits);
        return open_digit_file(folder_.file("a.txt"));
    }
    const kalvor_test::TemporaryFolder folder_;
    LinearConsoleNode status_{79, 1.0};
    const ViewerRun run_{serial_context(), status_};
};

// Rows as they are to be, made digit by digit.
std::string rows(const std::string& digits, u64 start, u64 count) {
    std::string out, row;
    for (u64 position = (start - 1) / 50 * 50 + 1; position < start + count; position++) {
        row += position < start ? ' ' : digits[position - 1];
        if (position % 10 == 0) row += ' ';
        if (position % 50 != 0) continue;
        out += row + " :  " + Console::format_commas(position) + "\n";
        row.clear();
    }
    return row.empty() ? out : out + row + "\n";
}

TEST_F(ViewerActionsTest, ViewsFromAnyPlaceOfARow) {
    const std::string digits = random_digits(1234, 10, 1);
    const auto reader = text(digits);
    for (const auto& [start, count] : {std::pair<u64, u64>{1, 1},
                                       {26, 25},
                                       {26, 100},
                                       {50, 1},
                                       {51, 50},
                                       {1, 1234},
                                       {1234, 1},
                                       {1191, 44},
                                       {10, 2}}) {
        CaptureConsole console;
        view_range(*reader, start, count, run_);
        EXPECT_EQ(console.take(), "\n" + rows(digits, start, count)) << start << " " << count;
    }
}

TEST_F(ViewerActionsTest, TheFirstRowFromDigit26EndsInDigit50) {
    const auto reader = text(std::string(25, '1') + "2345678901234567890123456" + "7");
    CaptureConsole console(CaptureConsole::terminal, true);
    view_range(*reader, 26, 25, run_);
    EXPECT_EQ(console.take(),
              "\n{Y}" + std::string(27, ' ') + "23456 7890123456 7890123456 {w} :  {G}50{w}\n");
}

TEST_F(ViewerActionsTest, HexadecimalDigitsAreLowerCase) {
    const auto reader = text("243f6a8885a308d3");
    CaptureConsole console;
    view_range(*reader, 1, 16, run_);
    EXPECT_EQ(console.take(), "\n243f6a8885 a308d3\n");
}

TEST_F(ViewerActionsTest, MoreThan100000DigitsAreAskedAgain) {
    const auto reader = text(random_digits(200000, 10, 2));
    CaptureConsole console;
    console.type({"0", "200001", "100000", "100001", "0", "1"});
    view_range(*reader, serial_runner());
    EXPECT_EQ(console.lines_left(), 0u);
}

TEST_F(ViewerActionsTest, StatisticsOfTheWholeNumberAndOfARange) {
    for (const u8 radix : {u8(10), u8(16)}) {
        const std::string digits = random_digits(5000, radix, 3) + (radix == 16 ? "f" : "1");
        for (const std::string top : {"0", "3", "123"}) {
            const auto reader = text(digits, top);
            CaptureConsole console;
            compute_stats(*reader, 1, 5001, run_);
            const std::string out = console.take();
            const auto value = [](u64 number) { return std::to_string(number) + "\n"; };
            EXPECT_NE(out.find("Current Offset: 5,001\n"), std::string::npos) << out;
            EXPECT_NE(out.find("Hash(start - current): " + value(plain_hash(top + digits, reader->radix()))),
                      std::string::npos)
                << out;
            EXPECT_NE(out.find("Hash(1 - current)  : " + value(plain_hash(digits, reader->radix()))),
                      std::string::npos)
                << out;
        }
    }
    const std::string digits = random_digits(2000, 10, 4);
    const auto reader = text(digits);
    CaptureConsole console;
    compute_stats(*reader, 1001, 1500, run_);
    const std::string part = digits.substr(1000, 500);
    DigitCounts counts(10);
    for (const char c : part) counts.count[static_cast<std::size_t>(c - '0')]++;
    EXPECT_EQ(console.take(),
              "\nProcessing 500 digits...\n    From: 1,001\n    To  : 1,500\n\n"
              "Current Offset: 1,500\nHash(1,001 - current)  : " +
                  std::to_string(plain_hash(part, 10)) +
                  "\nDigit Counts (1,001 - current): " + counts_text(counts) +
                  "\n\nHash(A - B) are the digits from A - B as an integer modulo (2^61 - 1).\n\n");
}

TEST_F(ViewerActionsTest, TheIntegerPartHasAHashOfItsOwn) {
    EXPECT_EQ(top_hash("0.", 10), 0u);
    EXPECT_EQ(top_hash("123.45", 10), 123u);
    EXPECT_EQ(top_hash("ff.8", 16), 255u);
    EXPECT_EQ(top_hash("2305843009213693952.", 10), 1u);
    EXPECT_EQ(kalvor_test::message_of<InvalidParametersException>(kalvor_test::Form::message,
                                                                  [] { top_hash("1.", 2); }),
              "Invalid radix.");
    EXPECT_EQ(kalvor_test::message_of<InvalidParametersException>(kalvor_test::Form::message,
                                                                  [] { top_hash("314", 10); }),
              "No decimal place found.");
}

TEST_F(ViewerActionsTest, ExtractsARangeBehindThePoint) {
    const std::string digits = random_digits(1000, 10, 5);
    const auto reader = text(digits);
    CaptureConsole console;
    extract_txt(*reader, 101, 300, folder_.file("part"), run_);
    EXPECT_EQ(folder_.read("part.txt"), "3." + digits.substr(100, 200));
    EXPECT_EQ(console.take(),
              "Current Offset: 300\nRead Back: 200\nWritten: " + folder_.file("part.txt") + "\n");
    extract_txt(*reader, 1, 1000, folder_.file("whole.txt"), run_);
    EXPECT_EQ(folder_.read("whole.txt"), "3." + digits);
}

TEST_F(ViewerActionsTest, ALongerFileIsNotReplaced) {
    const std::string digits = random_digits(1000, 10, 5);
    const auto reader = text(digits);
    CaptureConsole console;
    EXPECT_THROW(extract_txt(*reader, 1, 10, folder_.file("a"), run_), FileIO::FileException);
    EXPECT_EQ(folder_.read("a.txt"), "3." + digits);
}

TEST_F(ViewerActionsTest, CompressesIntoSetsAndOneFile) {
    const std::string digits = random_digits(2500000, 10, 6);
    const auto reader = text(digits);
    CaptureConsole console;
    compress_all(*reader, 2500000, {folder_.file("set"), 1000000}, run_);
    compress_all(*reader, 1200000, {folder_.file("one"), 0}, run_);
    EXPECT_TRUE(folder_.has("set - 2.kvd"));
    EXPECT_FALSE(folder_.has("set - 3.kvd"));
    EXPECT_FALSE(folder_.has("one - 1.kvd"));
    const auto set = open_digit_file(folder_.file("set - 2.kvd"));
    EXPECT_EQ(set->total_digits(), 2500000u);
    extract_txt(*set, 1, 2500000, folder_.file("back"), run_);
    EXPECT_TRUE(folder_.read("back.txt") == "3." + digits);
    const auto one = open_digit_file(folder_.file("one - 0.kvd"));
    extract_txt(*one, 1, 1200000, folder_.file("back one"), run_);
    EXPECT_TRUE(folder_.read("back one.txt") == "3." + digits.substr(0, 1200000));

    // Each file made again on its own is the same.
    for (u64 id = 0; id < 3; id++) {
        const std::string name = " - " + std::to_string(id) + ".kvd";
        compress_partial(*reader, id, id, {folder_.file("again"), 1000000}, run_);
        EXPECT_TRUE(folder_.read("again" + name) == folder_.read("set" + name)) << id;
    }
    console.take();
    compress_partial(*reader, 3, 3, {folder_.file("none"), 1000000}, run_);
    EXPECT_EQ(console.take(), "\nNo Digits to Recompress.\n");
    EXPECT_FALSE(folder_.has("none - 3.kvd"));
}

TEST_F(ViewerActionsTest, QuestionsOfCompressing) {
    const auto reader = text(random_digits(1500000, 10, 7));
    CaptureConsole console;
    console.type({"999999", "1400000", "500000", "1000000", "", "x", folder_.file("")});
    compress_all(*reader, serial_runner());
    const std::string out = console.take();
    EXPECT_NE(out.find("\n\nWrite to Compressed File\nStarting Digit: 1\nEnding Digit:   "
                       "Please select at least 1,000,000 digits.\nEnding Digit:   "),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("\nMust be at least 1,000,000.\n\n"), std::string::npos) << out;
    EXPECT_TRUE(folder_.has("x - 0.kvd"));
    EXPECT_TRUE(folder_.has("x - 1.kvd"));
}

TEST_F(ViewerActionsTest, TooFewDigitsAreNotCompressed) {
    const auto reader = text(random_digits(999999, 10, 8));
    CaptureConsole console;
    compress_all(*reader, serial_runner());
    EXPECT_EQ(console.take(), "\n\nWrite to Compressed File\nToo few digits to compress.\n");
    compress_partial(*reader, serial_runner());
    EXPECT_EQ(console.take(), "\n\nWrite to Compressed File (partial)\nToo few digits to compress.\n");
}

TEST_F(ViewerActionsTest, WhatTheFilesDoNotHaveIsNotAccessible) {
    const std::string digits = random_digits(2000000, 10, 9);
    {
        const auto reader = text(digits);
        CaptureConsole console;
        compress_all(*reader, 2000000, {folder_.file("set"), 1000000}, run_);
    }
    // A total that is a multiple of the files' size is not known to them.
    const auto set = open_digit_file(folder_.file("set - 0.kvd"));
    EXPECT_EQ(effective_total(*set), ~u64(0));
    const std::string refusal =
        "This range of digits is not accessible.\n"
        "The following needed files are missing or inaccessible:\nset - 2.kvd\n";
    CaptureConsole console;
    view_range(*set, 2000001, 10, run_);
    EXPECT_EQ(console.take(), refusal);
    view_range(*set, 1999991, 10, run_);
    EXPECT_EQ(console.take(), "\n" + rows(digits, 1999991, 10));
    compute_stats(*set, 1999991, 2000001, run_);
    EXPECT_TRUE(console.take().ends_with("\n" + refusal));
}

TEST(ViewerDestinationTest, BlankIsTheCurrentFolder) {
    EXPECT_EQ(destination_folder(""), "");
    EXPECT_EQ(destination_folder(" /tmp"), "");
    EXPECT_EQ(destination_folder("a/b"), "a/b/");
    EXPECT_EQ(destination_folder("a/b/"), "a/b/");
}

}  // namespace
}  // namespace kalvor::DigitViewer2
