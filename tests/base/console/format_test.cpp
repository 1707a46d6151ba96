#include "base/console/format.h"

#include <gtest/gtest.h>

#include <vector>

using namespace trel;
using Console::format_bytes;
using Console::format_time;

TEST(FormatListTest, CommaAndBlank) {
    EXPECT_EQ(Console::format_list(std::vector<u32>{}), "");
    EXPECT_EQ(Console::format_list(std::vector<u32>{7}), "7");
    EXPECT_EQ(Console::format_list(std::vector<u32>{0, 4, 2}), "0, 4, 2");
}

TEST(FormatNumberTest, Modes) {
    using Console::NumberFormat;
    EXPECT_EQ(Console::format_number(u64(1234567)), "1234567");
    EXPECT_EQ(Console::format_number(u64(1234567), NumberFormat::commas), "1,234,567");
    EXPECT_EQ(Console::format_number(u64(1048576), NumberFormat::bytes), "1.00 MiB");
    EXPECT_EQ(Console::format_number(u64(1048576), NumberFormat::commas_and_bytes), "1,048,576 (1.00 MiB)");
    EXPECT_EQ(Console::format_number(i64(-1234), NumberFormat::commas), "-1,234");
    EXPECT_EQ(Console::format_number(i64(-9223372036854775807 - 1)), "-9223372036854775808");
    EXPECT_EQ(Console::format_commas(0), "0");
    EXPECT_EQ(Console::format_commas(999), "999");
    EXPECT_EQ(Console::format_commas(1000), "1,000");
    EXPECT_EQ(Console::format_commas(~u64(0)), "18,446,744,073,709,551,615");
}

TEST(FormatBytesTest, Examples) {
    EXPECT_EQ(format_bytes(5), " 5 bytes");
    EXPECT_EQ(format_bytes(9), " 9 bytes");
    EXPECT_EQ(format_bytes(10), "10 bytes");
    EXPECT_EQ(format_bytes(123), "123 bytes");
    EXPECT_EQ(format_bytes(999), "999 bytes");
    EXPECT_EQ(format_bytes(1000), "0.98 KiB");
    EXPECT_EQ(format_bytes(1023), "1.00 KiB");
    EXPECT_EQ(format_bytes(1024), "1.00 KiB");
    EXPECT_EQ(format_bytes(1075), "1.05 KiB");
    EXPECT_EQ(format_bytes(u64(512) << 20), " 512 MiB");
    EXPECT_EQ(format_bytes(u64(25) << 29), "12.5 GiB");
    EXPECT_EQ(format_bytes(1000000), " 977 KiB");
    EXPECT_EQ(format_bytes(1023487), " 999 KiB");
    EXPECT_EQ(format_bytes(1023488), "0.98 MiB");
    EXPECT_EQ(format_bytes(1023999), "0.98 MiB");
    EXPECT_EQ(format_bytes(1024000), "0.98 MiB");
    EXPECT_EQ(format_bytes(10239), "10.0 KiB");
    EXPECT_EQ(format_bytes(102399), " 100 KiB");
    EXPECT_EQ(format_bytes(~u64(0)), "16.0 EiB");
}

// From KiB upwards: four characters before the unit, and the value they say is within half a unit of their
// last place of the true one.
TEST(FormatBytesTest, FourCharactersAndCloseToTheTruth) {
    const std::string units[] = {" KiB", " MiB", " GiB", " TiB", " PiB", " EiB"};
    u64 state = 88172645463325252u;
    for (int i = 0; i < 200000; i++) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        const u64 v = state >> (i % 54);
        if (v < 1000) continue;
        const std::string s = format_bytes(v);
        ASSERT_EQ(s.size(), 8u) << s;
        int unit = -1;
        for (int k = 0; k < 6; k++) {
            if (s.substr(4) == units[k]) unit = k;
        }
        ASSERT_GE(unit, 0) << s;
        const long double truth =
            static_cast<long double>(v) / static_cast<long double>(u64(1) << (10 * (unit + 1)));
        const long double shown = std::stold(s.substr(0, 4));
        const size_t point = s.substr(0, 4).find('.');
        const long double last_place = point == std::string::npos ? 1.0L : point == 1 ? 0.01L : 0.1L;
        // The thousandths are cut before they are rounded.
        ASSERT_LE(shown - truth, last_place * 0.5L + 1e-15L) << v << " " << s;
        ASSERT_LE(truth - shown, last_place * 0.5L + 0.0021L) << v << " " << s;
    }
}

TEST(FormatTimeTest, UnitsChangeAtTwoHoursAndTwoDays) {
    EXPECT_EQ(format_time(59.5), "59.500 seconds  ( 0.992 minutes )");
    EXPECT_EQ(format_time(0), "0.000 seconds  ( 0.000 minutes )");
    EXPECT_EQ(format_time(7199.9994), "7199.999 seconds  ( 120.000 minutes )");
    EXPECT_EQ(format_time(7200), "7200.000 seconds  ( 2.000 hours )");
    EXPECT_EQ(format_time(172799), "172799.000 seconds  ( 48.000 hours )");
    EXPECT_EQ(format_time(172800), "172800.000 seconds  ( 2.000 days )");
    EXPECT_EQ(format_time(-7200), "-7200.000 seconds  ( -2.000 hours )");
}

TEST(FormatFixedTest, IsCorrectlyRounded) {
    EXPECT_EQ(Console::format_fixed(0.125, 2), "0.12");  // exact tie, to even
    EXPECT_EQ(Console::format_fixed(0.375, 2), "0.38");
    EXPECT_EQ(Console::format_fixed(2.5, 0), "2");
    EXPECT_EQ(Console::format_fixed(-1234.5678, 3), "-1234.568");
}
