#include "base/command_line/shown_text.h"

#include <gtest/gtest.h>

using namespace trel;
using namespace trel::CommandLine;

TEST(ShownTextTest, OrdinaryTextStaysAsItIs) {
    for (const char* text : {"", "abc", "C:/temp/a b", "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80", "\\x1b"}) {
        EXPECT_EQ(shown(text), text);
        EXPECT_EQ(shown_lines(text), text);
    }
}

TEST(ShownTextTest, WhatMovesTheTerminalIsReplaced) {
    EXPECT_EQ(shown("\x1b]0;title\x07"), "\\x1b]0;title\\x07");
    EXPECT_EQ(shown("a\nb\tc\r\x7f"), "a\\x0ab\\x09c\\x0d\\x7f");
    EXPECT_EQ(shown(std::string("\0", 1)), "\\x00");
    EXPECT_EQ(shown("\xc2\x9b"
                    "31m"),
              "\\xc2\\x9b31m");  // the one-character form of "\x1b["
    EXPECT_EQ(shown("\x9b"
                    "31m"),
              "\\x9b31m");  // as a byte alone
    EXPECT_EQ(shown("a\xe2\x80\xae"
                    "b"),
              "a\\xe2\\x80\\xae"
              "b");  // turns the direction of writing
    EXPECT_EQ(shown("\xff\xc3"), "\\xff\\xc3");
    EXPECT_EQ(shown("\xe2\x82"), "\\xe2\\x82");  // cut off
    EXPECT_EQ(shown_lines("a\nb\tc\r\x1b"), "a\nb\tc\\x0d\\x1b");
}

TEST(ShownTextTest, LongTextsAreCutBehindAWholeCharacter) {
    EXPECT_EQ(shown("abcdef", 6), "abcdef");
    EXPECT_EQ(shown("abcdef", 5), "abcde... (6 bytes)");
    EXPECT_EQ(shown("a\xe2\x82\xac", 3), "a... (4 bytes)");
    const std::string huge(16 << 20, 'x');
    EXPECT_EQ(shown(huge), std::string(200, 'x') + "... (16777216 bytes)");
    EXPECT_LT(shown_lines(huge).size(), 5000u);
    EXPECT_EQ(quoted("a\x1b"), "\"a\\x1b\"");
}

TEST(ShownTextTest, LengthOfASequence) {
    EXPECT_EQ(utf8_length("a"), 1u);
    EXPECT_EQ(utf8_length("\xc3\xa9x"), 2u);
    EXPECT_EQ(utf8_length("\xe2\x82\xac"), 3u);
    EXPECT_EQ(utf8_length("\xf0\x9f\x98\x80"), 4u);
    for (const char* stray : {"\x80", "\xc3", "\xc0\x80", "\xf5\x80\x80\x80", "\xe2\x82x"}) {
        EXPECT_EQ(utf8_length(stray), 1u);
    }
}
