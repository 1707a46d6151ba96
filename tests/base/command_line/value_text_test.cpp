#include "base/command_line/value_text.h"

#include <gtest/gtest.h>

#include <string>

#include "base/command_line/parameter_list.h"

using namespace trel;
using namespace trel::CommandLine;

namespace {

constexpr i64 kMost = 0x7FFFFFFFFFFFFFFF;

}  // namespace

TEST(ParseCountTest, WhatPeopleWrite) {
    const std::pair<const char*, i64> rows[] = {
        {"0", 0},
        {"7", 7},
        {"1000000", 1000000},
        {"1,000,000", 1000000},
        {"12,345", 12345},
        {"1_000_000", 1000000},
        {"1_0_0", 100},
        {"1.5m", 1500000},
        {"1.500m", 1500000},
        {"0.5k", 500},
        {"1,000.5k", 1000500},
        {"2.0", 2},
        {"1e6", 1000000},
        {"1E6", 1000000},
        {"1e+6", 1000000},
        {"2.5e3", 2500},
        {"1_000e3", 1000000},
        {"7e0", 7},
        {"0e99999999999", 0},
        {"3k", 3000},
        {"3K", 3000},
        {"3m", 3000000},
        {"3M", 3000000},
        {"3b", 3000000000},
        {"3B", 3000000000},
        {"3g", 3000000000},
        {"3G", 3000000000},
        {"3t", 3000000000000},
        {"3T", 3000000000000},
        {"0001", 1},
        {"-5", -5},
        {"-1.5m", -1500000},
        {"-1,000", -1000},
        {"9223372036854775807", kMost},
    };
    for (const auto& [text, value] : rows) EXPECT_EQ(parse_count(text), value) << text;
}

TEST(ParseCountTest, BeyondTheTypeIsItsEnd) {
    for (const char* text :
         {"9223372036854775808", "99999999999999999999999", "1e19", "1e999999999999999999", "10000000t"}) {
        EXPECT_EQ(parse_count(text), kMost) << text;
        EXPECT_EQ(parse_count(std::string("-") + text), -kMost) << text;
    }
    EXPECT_EQ(parse_count(std::string(100000, '9')), kMost);
    EXPECT_EQ(parse_count("0." + std::string(18, '0') + "1e19"), 1);
}

TEST(ParseCountTest, WhatIsNotWhollyANumber) {
    for (const char* text :
         {"",       "-",        "--1", "+1",     "abc",       "1x",        "x1",   "1 ",      " 1",
          "1 m",    "1mb",      "1mm", "m",      "1.",        ".5k",       "1.5",  "1.2345k", "1e",
          "1e-3",   "1e3k",     "e6",  "1,00",   "1,0000",    "1000,000",  ",1",   "1,",      "1,000,",
          "1,,000", "_1",       "1_",  "1__0",   "1_000,000", "1,000_000", "1,5m", "0x10",    "1e+",
          "1e++6",  "\xd9\xa1", "1\n", "1.5.5m", "inf",       "nan",       "1k5"}) {
        EXPECT_EQ(parse_count(text), std::nullopt) << '"' << text << '"';
    }
    EXPECT_EQ(parse_count(std::string(100000, 'z')), std::nullopt);
    EXPECT_EQ(parse_count(std::string("1\0", 2)), std::nullopt);
}

// Where the lenient rule reads the whole text, both agree.
TEST(ParseCountTest, AgreesWithTheLenientRule) {
    for (const char* sign : {"", "-"}) {
        for (const char* digits : {"0", "1", "12", "999", "123456789", "9223372036854775807"}) {
            for (const char* suffix : {"", "k", "K", "m", "M", "b", "B", "t", "T"}) {
                const std::string text = std::string(sign) + digits + suffix;
                EXPECT_EQ(parse_count(text), parse_scaled_integer(text)) << text;
            }
        }
    }
}

TEST(ParseSwitchTest, Words) {
    for (const char* on : {"1", "on", "ON", "yes", "Yes", "true", "True"})
        EXPECT_EQ(parse_switch(on), true) << on;
    for (const char* off : {"0", "off", "Off", "no", "NO", "false"})
        EXPECT_EQ(parse_switch(off), false) << off;
    for (const char* none : {"", "2", "-1", "10", "y", "t", "o", "onn", " on", "enabled", "1k", "00"}) {
        EXPECT_EQ(parse_switch(none), std::nullopt) << none;
    }
}
