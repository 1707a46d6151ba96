#include "platform/fileio/text_decoding.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>

using namespace trel;
using namespace trel::FileIO;

namespace {

// The units in the byte order asked for, behind the mark.
std::string utf16(const std::u16string& units, bool big_endian) {
    std::string out;
    const auto put = [&](char16_t u) {
        const char high = static_cast<char>(u >> 8), low = static_cast<char>(u & 0xff);
        out += big_endian ? high : low;
        out += big_endian ? low : high;
    };
    put(0xfeff);
    for (const char16_t u : units) put(u);
    return out;
}

}  // namespace

TEST(TextDecodingTest, Marks) {
    EXPECT_EQ(detect_encoding(""), TextEncoding::utf8);
    EXPECT_EQ(detect_encoding("\xff"), TextEncoding::utf8);
    EXPECT_EQ(detect_encoding("\xef\xbb\xbfx"), TextEncoding::utf8);
    EXPECT_EQ(detect_encoding("\xff\xfe"), TextEncoding::utf16_little_endian);
    EXPECT_EQ(detect_encoding("\xfe\xff"), TextEncoding::utf16_big_endian);
}

TEST(TextDecodingTest, Utf8IsPassedOn) {
    EXPECT_EQ(decode_text(""), "");
    EXPECT_EQ(decode_text("\xef\xbb\xbf"), "");
    EXPECT_EQ(decode_text("\xef\xbb\xbf{}\r\n"), "{}\r\n");
    EXPECT_EQ(decode_text("\xef\xbb"), "\xef\xbb");
    EXPECT_EQ(decode_text("a\xff\xc3"), "a\xff\xc3");
    EXPECT_EQ(decode_text("\xef\xbb\xbf\xef\xbb\xbf"), "\xef\xbb\xbf");  // one mark, not two
}

TEST(TextDecodingTest, Utf16) {
    for (const bool big : {false, true}) {
        EXPECT_EQ(decode_text(utf16(u"", big)), "");
        EXPECT_EQ(decode_text(utf16(u"{A : 1}\r\n", big)), "{A : 1}\r\n");
        EXPECT_EQ(decode_text(utf16(u"\u007f\u0080\u07ff\u0800\uffff", big)),
                  "\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf");
        EXPECT_EQ(decode_text(utf16(u"\U00010000\U0010ffff\U0001f600", big)),
                  "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf\xf0\x9f\x98\x80");
        const std::string lost = "\xef\xbf\xbd";
        EXPECT_EQ(decode_text(utf16({0xd800}, big)), lost);
        EXPECT_EQ(decode_text(utf16({0xdfff}, big)), lost);
        // Just outside of the surrogates.
        EXPECT_EQ(decode_text(utf16({0xd7ff, 0xe000}, big)), "\xed\x9f\xbf\xee\x80\x80");
        EXPECT_EQ(decode_text(utf16({0xdbff, 0xe000}, big)), lost + "\xee\x80\x80");
        EXPECT_EQ(decode_text(utf16({0xdbff, 0xdfff}, big)), "\xf4\x8f\xbf\xbf");
        EXPECT_EQ(decode_text(utf16({0xd800, 'x'}, big)), lost + "x");
        EXPECT_EQ(decode_text(utf16({0xdc00, 0xd800}, big)), lost + lost);
        EXPECT_EQ(decode_text(utf16({0xd800, 0xd800, 0xdc00}, big)), lost + "\xf0\x90\x80\x80");
        EXPECT_EQ(decode_text(utf16(u"a", big) + "b"), "a" + lost);
        EXPECT_EQ(decode_text(utf16({0xd800}, big) + "b"), lost + lost);
    }
}

// Random text against the C++ library's own conversion.
TEST(TextDecodingTest, Utf16AgreesWithTheLibrary) {
    std::mt19937 random(4);
    std::u32string text;
    for (int i = 0; i < 20000; i++) {
        const u32 code = 1 + static_cast<u32>(random() % 0x10ffff);
        if (code < 0xd800 || code > 0xdfff) text += static_cast<char32_t>(code);
    }
    std::u16string units;
    for (const char32_t code : text) {
        if (code < 0x10000) {
            units += static_cast<char16_t>(code);
        } else {
            units += static_cast<char16_t>(0xd7c0 + (code >> 10));
            units += static_cast<char16_t>(0xdc00 + (code & 0x3ff));
        }
    }
    const std::u8string library = std::filesystem::path(text).u8string();
    const std::string want(library.begin(), library.end());
    EXPECT_EQ(decode_text(utf16(units, false)), want);
    EXPECT_EQ(decode_text(utf16(units, true)), want);
}
