#include "base/prompt/prompt.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "base/prompt/number_text.h"
#include "support/capture_console.h"

using namespace trel;
using Prompt::parse_memory_size;
using Prompt::parse_number;

namespace {

constexpr i128 kBeyond = i128(1) << 64;

}  // namespace

TEST(PromptNumberTest, DigitsCommasAndSigns) {
    EXPECT_TRUE(parse_number("0") == 0);
    EXPECT_TRUE(parse_number("1234567890123456789") == 1234567890123456789);
    EXPECT_TRUE(parse_number("18446744073709551615") == kBeyond - 1);
    EXPECT_TRUE(parse_number("1,234,567") == 1234567);
    EXPECT_TRUE(parse_number(",,1,,2,") == 12);
    EXPECT_TRUE(parse_number("-5") == -5);
    EXPECT_TRUE(parse_number("-1,000 K") == -1024000);
    for (const char* nothing : {"", "-", " 5", "\t5", "x5", "--5", "+5", "K", ","}) {
        EXPECT_TRUE(parse_number(nothing) == 0) << nothing;
    }
}

TEST(PromptNumberTest, Scales) {
    const struct {
        char suffix;
        i128 scale;
    } scales[] = {{'K', i128(1) << 10},
                  {'M', i128(1) << 20},
                  {'G', i128(1) << 30},
                  {'T', i128(1) << 40},
                  {'P', i128(1) << 50},
                  {'E', i128(1) << 60},
                  {'m', 1000000},
                  {'b', 1000000000},
                  {'t', 1000000000000},
                  {'k', 1},
                  {'g', 1},
                  {'e', 1},
                  {'p', 1},
                  {'B', 1},
                  {'x', 1}};
    for (const auto& s : scales) {
        EXPECT_TRUE(parse_number(std::string("10") + s.suffix) == 10 * s.scale) << s.suffix;
        EXPECT_TRUE(parse_number(std::string("10") + s.suffix + "iB and more") == 10 * s.scale) << s.suffix;
        EXPECT_TRUE(parse_number(std::string("-7 \t ") + s.suffix) == -7 * s.scale) << s.suffix;
        EXPECT_TRUE(parse_memory_size(std::string("10") + s.suffix) == 10 * s.scale) << s.suffix;
    }
    EXPECT_TRUE(parse_number("768MB") == i128(768) << 20);
    EXPECT_TRUE(parse_number("2.5GB") == 2);  // no fractions in counts
    EXPECT_TRUE(parse_number("1 0") == 1);
}

TEST(PromptNumberTest, HugeNumbersDoNotWrap) {
    EXPECT_TRUE(parse_number("18446744073709551616") == kBeyond);
    EXPECT_TRUE(parse_number(std::string(1000, '9')) == kBeyond);
    EXPECT_TRUE(parse_number(std::string(1000, '9') + "E") == kBeyond << 60);
    EXPECT_TRUE(parse_number("-" + std::string(1000, '9') + "E") == -(kBeyond << 60));
    EXPECT_TRUE(parse_number("16E") == kBeyond);
}

TEST(PromptMemorySizeTest, Fractions) {
    EXPECT_TRUE(parse_memory_size("2.5GB") == 2684354560);
    EXPECT_TRUE(parse_memory_size("768MB") == i128(768) << 20);
    EXPECT_TRUE(parse_memory_size("0.5K") == 512);
    EXPECT_TRUE(parse_memory_size(".5K") == 512);
    EXPECT_TRUE(parse_memory_size("1.K") == 1024);
    EXPECT_TRUE(parse_memory_size("1.9999") == 1);
    EXPECT_TRUE(parse_memory_size("1.0009765624K") == 1024);  // just below 1025
    EXPECT_TRUE(parse_memory_size("1.0009765625K") == 1025);
    EXPECT_TRUE(parse_memory_size("0.3 m") == 300000);
    EXPECT_TRUE(parse_memory_size("1.2.3K") == 1);  // a second point ends the number
    EXPECT_TRUE(parse_memory_size("0.9999999999999999999E") == (i128(1) << 60) - 1);
    EXPECT_TRUE(parse_memory_size("0." + std::string(1000, '9') + "E") == (i128(1) << 60) - 1);
    EXPECT_TRUE(parse_memory_size(std::string(1000, '9') + "." + std::string(1000, '9') + "E") ==
                (kBeyond << 60) + (i128(1) << 60) - 1);
}

TEST(PromptTest, AsksUntilTheAnswerIsInRange) {
    CaptureConsole console(CaptureConsole::terminal, true);
    console.type({"8", "-1", "x7", "3", "left"});
    EXPECT_EQ(Prompt::read_integer_in_range("option: ", 1, 7, 'T'), 3);
    EXPECT_EQ(console.take(), "{w}option: {T}{w}option: {T}{w}option: {T}{w}option: {T}");
    EXPECT_EQ(console.lines_left(), 1u);
    EXPECT_EQ(Prompt::read_text("Path", ' '), "left");
    EXPECT_EQ(console.take(), "Path: ");
}

// The rule reads an empty line as 0, which here would be a choice that nobody made.
TEST(PromptTest, AnEmptyLineOrAWordIsAskedAgain) {
    CaptureConsole console;
    console.type({"", "about", "-", ",", ".", " ", "x0", "-x", "0"});
    EXPECT_EQ(Prompt::read_integer_in_range("option: ", 0, 7, 'T'), 0);
    EXPECT_EQ(console.lines_left(), 0u);
    console.type({"", "none", ".5K"});
    EXPECT_EQ(Prompt::read_memory_size_in_range("Bytes: ", 0, 1000, 'w'), 512u);
    console.type({"", "5"});
    EXPECT_EQ(Prompt::read_unsigned_in_range("", 0, 7, 'w'), 5u);
}

TEST(PromptTest, BoundsAreInTheRange) {
    CaptureConsole console;
    constexpr i64 kLow = -9223372036854775807 - 1, kHigh = 9223372036854775807;
    console.type(
        {"-9223372036854775808", "9223372036854775807", "9223372036854775808", "-9223372036854775809", "0"});
    EXPECT_EQ(Prompt::read_integer_in_range("", kLow, kHigh, 'w'), kLow);
    EXPECT_EQ(Prompt::read_integer_in_range("", kLow, kHigh, 'w'), kHigh);
    EXPECT_EQ(Prompt::read_integer_in_range("", kLow, kHigh, 'w'), 0);
    console.type({"18446744073709551616", "-1", "18446744073709551615"});
    EXPECT_EQ(Prompt::read_unsigned_in_range("", 0, ~u64(0), 'w'), ~u64(0));
    console.type({"16E", "2.5GB"});
    EXPECT_EQ(Prompt::read_memory_size_in_range("Bytes: ", 0, ~u64(0), 'w'), 2684354560u);
}

TEST(PromptTest, TheEndOfTheInputIsAnError) {
    CaptureConsole console;
    const auto ended = [](auto ask) {
        try {
            ask();
        } catch (const EndOfStreamException& e) {
            return e.message == "Unexpected end of stream.";
        }
        return false;
    };
    EXPECT_TRUE(ended([] { Prompt::read_text("Path", 'T'); }));
    EXPECT_TRUE(ended([] { Prompt::read_integer_in_range("option: ", 0, 7, 'T'); }));
    EXPECT_TRUE(ended([] { Prompt::read_unsigned_in_range("option: ", 0, 7, 'T'); }));
    EXPECT_TRUE(ended([] { Prompt::read_memory_size_in_range("Bytes: ", 0, 7, 'T'); }));
    console.type({"9"});  // wrong, and then nothing
    EXPECT_TRUE(ended([] { Prompt::read_integer_in_range("option: ", 0, 7, 'T'); }));
    console.type({""});  // an empty line is an answer
    EXPECT_EQ(Prompt::read_text("File: ", 'T'), "");
}
