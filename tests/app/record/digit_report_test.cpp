// The report blocks on digits, character by character.
#include "app/record/digit_report.h"

#include <gtest/gtest.h>

namespace kalvor {
namespace {

TEST(DigitReportTest, LastDigitsInGroupsOfTenAndLinesOfFifty) {
    LastDigits last;
    last.start = 999900;
    last.radix = 10;
    for (int i = 0; i < 100; i++) last.text += static_cast<char>('0' + i % 10);
    EXPECT_EQ(last_digits_block(last),
              "Last Decimal Digits:\n"
              "0123456789 0123456789 0123456789 0123456789 0123456789  :  999,950\n"
              "0123456789 0123456789 0123456789 0123456789 0123456789  :  1,000,000\n"
              "\n");
}

TEST(DigitReportTest, AnIncompleteLineEndsWithoutAPosition) {
    LastDigits last;
    last.start = 50;
    last.radix = 16;
    last.text = std::string(50, 'a') + "b";
    EXPECT_EQ(last_digits_block(last),
              "Last Hexadecimal Digits:\n"
              "aaaaaaaaaa aaaaaaaaaa aaaaaaaaaa aaaaaaaaaa aaaaaaaaaa  :  100\n"
              "b\n"
              "\n");
}

TEST(DigitReportTest, OtherRadicesHaveNoNameOfTheirOwn) {
    LastDigits last;
    last.radix = 8;
    last.text = "01234567012";
    EXPECT_EQ(last_digits_block(last), "Last Digits:\n0123456701 2\n\n");
}

TEST(DigitReportTest, FirstDigitsInGroupsOfTen) {
    OutputStats stats;
    stats.first = "3.14159265358979323846264338327950288419716939937510";
    EXPECT_EQ(first_digits_block(stats),
              "First Decimal Digits:\n"
              "3.1415926535 8979323846 2643383279 5028841971 6939937510\n"
              "\n");
    stats.counts = DigitCounts(16);
    stats.first = "3.243f6a8885a30";
    EXPECT_EQ(first_digits_block(stats),
              "First Hexadecimal Digits:\n"
              "3.243f6a8885 a30\n"
              "\n");
}

TEST(DigitReportTest, CountsAndHash) {
    OutputStats stats;
    stats.counts = DigitCounts(10);
    for (trel::u64 i = 0; i < 10; i++) stats.counts.count[i] = i;
    stats.hash = (1ULL << 61) - 1;
    EXPECT_EQ(counts_line(stats.counts), "Dec Counts: {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}");
    EXPECT_EQ(hash_line(stats), "Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) = 0");
    stats.counts = DigitCounts(16);
    stats.hash = 1234567;
    EXPECT_EQ(counts_line(stats.counts), "Hex Counts: {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}");
    EXPECT_EQ(hash_line(stats), "Hex Hash: Floor(|x| * 16^hex) mod (2^61 - 1) = 1234567");
}

}  // namespace
}  // namespace kalvor
