#include "digits/files/kvd_header.h"

#include <gtest/gtest.h>

#include "digits/files/basic_kvd_file_reader.h"
#include "digits/files/kvd_reference.h"
#include "fault/faulty_file.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

const std::string kMaking = "FileException|BasicKvdFileReader::BasicKvdFileReader()|";

KvdHeader pi_header() {
    return {kKvdVersion, 10, kPi50, 0, 1000000, 0};
}

TEST(KvdHeaderTest, ItsBytes) {
    const std::string text = pi_header().text();
    EXPECT_EQ(text.size(), 195U);
    EXPECT_EQ(text,
              with_crlf("#Compressed Digit File\n\nFileVersion:\t1.1.0\n\nBase:\t10\n\nFirstDigits:\t" +
                        kPi50 + "\n\nTotalDigits:\t0\n\nBlocksize:\t1000000\nBlockID:\t0\n\nEndHeader\n\n") +
                  '\0');
    KvdHeader last = pi_header();
    last.total_digits = 250000;
    last.digits_per_file = 100000;
    last.id = 2;
    EXPECT_EQ(last.text().size(), 199U);
}

TEST(KvdHeaderTest, IsReadAsItWasWritten) {
    KvdHeader header = pi_header();
    header.total_digits = ~u64(0);
    header.id = 12345;
    header.radix = 16;
    const auto parsed = parse_kvd_header(header.text() + "data");
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->header.text(), header.text());
    EXPECT_EQ(parsed->bytes, header.text().size());
    const std::string text = header.text();
    for (u64 n = 0; n < text.size(); n++) ASSERT_FALSE(parse_kvd_header(text.substr(0, n))) << n;
}

TEST(KvdHeaderTest, OrderBlankLinesAndUnknownKeysDoNotMatter) {
    std::string text =
        "anything at all\nBlockID:\t7\rBlocksize:\t1\nBlockID:\t7\r\nNovelty:\tyes\nNo tab\n\n\r\n"
        "Blocksize:\t2\t00\nBlocksize:\t12\r3\nFirstDigits:\t0.\nBase:\t10\nTotalDigits:\t9999\n"
        "FileVersion:\t1.0.0\nEndHeader\nany text";
    text += '\0';
    const auto parsed = parse_kvd_header(text + "x");
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->bytes, text.size());
    EXPECT_EQ(parsed->header.id, 7U);
    EXPECT_EQ(parsed->header.digits_per_file, 123U) << "the last of two lines counts";
    EXPECT_EQ(parsed->header.total_digits, 9999U);
    EXPECT_EQ(parsed->header.version, "1.0.0");
    EXPECT_EQ(parsed->header.first_digits, "0.");
}

TEST(KvdHeaderTest, NumbersAreBytesAccumulated) {
    const auto id = [](const std::string& value) {
        std::string text = "x\nBlockID:\t" + value + "\nEndHeader\n";
        return parse_kvd_header(text + '\0')->header.id;
    };
    EXPECT_EQ(id(""), 0U);
    EXPECT_EQ(id("18446744073709551615"), ~u64(0));
    EXPECT_EQ(id("18446744073709551626"), 10U) << "modulo 2^64";
    EXPECT_EQ(id("1a"), 10U + 'a' - '0');
    EXPECT_EQ(id(" 5"), 10 * (u64(' ') - '0') + 5);
    EXPECT_EQ(id("\xff"), 255U - '0');
}

TEST(KvdHeaderTest, RangeAndWords) {
    KvdHeader header = pi_header();
    KvdShape shape = check_kvd_header(header, "p");
    EXPECT_EQ(shape.range, (DigitRange{0, 1000000}));
    EXPECT_EQ(shape.words, 52632U);
    EXPECT_EQ(shape.digits_per_word, 19U);
    header = {kKvdVersion, 10, "3.", 250000, 100000, 2};
    shape = check_kvd_header(header, "p");
    EXPECT_EQ(shape.range, (DigitRange{200000, 250000}));
    EXPECT_EQ(shape.words, 2632U);
    EXPECT_EQ(shape.digits_per_file, 100000U);
    header.radix = 16;
    EXPECT_EQ(check_kvd_header(header, "p").words, 3125U);
    // A total below the digits per file is what the file holds.
    header = {"1.0.0", 10, "3.", 1, u64(1) << 63, 0};
    shape = check_kvd_header(header, "p");
    EXPECT_EQ(shape.digits_per_file, 1U);
    EXPECT_EQ(shape.range, (DigitRange{0, 1}));
    EXPECT_EQ(shape.words, 1U);
    // The largest file of all.
    header = {kKvdVersion, 10, "3.", 0, ~u64(0), 0};
    EXPECT_EQ(check_kvd_header(header, "p").range.end, ~u64(0));
}

std::string refusal(const KvdHeader& header) {
    return refusal_of([&] { (void)check_kvd_header(header, "p"); });
}

TEST(KvdHeaderTest, Refusals) {
    KvdHeader header = pi_header();
    header.version = "";
    header.digits_per_file = 99;  // what comes first in the order of the checks is told
    header.radix = 8;
    EXPECT_EQ(refusal(header), kMaking + "No version # found.");
    header.version = "1.2.0";
    EXPECT_EQ(refusal(header), kMaking +
                                   "This .kvd file is of a later format version.\nThis version of the digit "
                                   "viewer is unable to view this file.");
    header.version = "1.0.0";
    EXPECT_EQ(refusal(header), kMaking + "Invalid Digits per File");
    header.digits_per_file = 100;
    header.total_digits = 300;
    header.id = 3;
    EXPECT_EQ(refusal(header), kMaking +
                                   "This file is out of range.\nStart:        300\nEnd:          400\nTotal "
                                   "Digits: 300\n");
    header.id = 0;
    EXPECT_EQ(refusal(header), kMaking + "Unsupported Radix");
    header.radix = 266;  // 10 in 8 bits
    EXPECT_EQ(refusal(header), kMaking + "Unsupported Radix");
    const std::string inconsistent =
        "InconsistentMetaData|BasicKvdFileReader::BasicKvdFileReader()|Inconsistent Metadata: \"FirstDigits";
    header.radix = 10;
    for (const char* first : {"", "31415", "3.14a", "3.14F", "-3.1", "3.1.4", " 3.14"}) {
        header.first_digits = first;
        EXPECT_EQ(refusal(header), inconsistent) << first;
    }
    header.first_digits = ".5";
    EXPECT_EQ(refusal(header), "nothing thrown");
    header.radix = 16;
    header.first_digits = "3.14af";
    EXPECT_EQ(refusal(header), "nothing thrown");
    header.first_digits = "3.14aF";
    EXPECT_EQ(refusal(header), inconsistent);
}

TEST(KvdHeaderTest, RangesAreComputedIn128Bits) {
    KvdHeader header = pi_header();
    header.digits_per_file = ~u64(0);
    header.id = 1;
    EXPECT_EQ(refusal(header), kMaking + "Invalid Digits per File") << "its end is beyond 2^64 - 1";
    header.id = ~u64(0);
    EXPECT_EQ(refusal(header), kMaking + "Invalid Digits per File");
    header.digits_per_file = u64(1) << 63;
    header.id = 1;
    EXPECT_EQ(refusal(header), kMaking + "Invalid Digits per File") << "2^64 is beyond 2^64 - 1";
    header.total_digits = ~u64(0);
    EXPECT_EQ(refusal(header), "nothing thrown") << "the total ends it";
    header.id = ~u64(0);
    EXPECT_EQ(
        refusal(header),
        kMaking +
            "This file is out of range.\nStart:        170141183460469231722463931679029329920\nEnd:      "
            "    170141183460469231731687303715884105728\nTotal Digits: 18446744073709551615\n");
}

TEST(KvdHeaderTest, FirstDigitsEndBehindTheFiftieth) {
    EXPECT_EQ(kvd_first_digits("f", kPi50 + "58209", 10, "p"), kPi50);
    EXPECT_EQ(kvd_first_digits("f", "12345.6", 10, "p"), "12345.6");
    // What is cut off is not looked at.
    EXPECT_EQ(kvd_first_digits("f", kPi50 + "?", 10, "p"), kPi50);
}

TEST(KvdHeaderTest, IntegerPartsHaveALimit) {
    const std::string longest(63, '1');
    EXPECT_EQ(kvd_first_digits("f", longest + ".5", 10, "p"), longest + ".5");
    EXPECT_THROW(kvd_first_digits("f", longest + "1.5", 10, "p"), DigitViewer2::InconsistentMetaData);
}

// ---- files

class KvdHeaderFileTest : public testing::Test {
  protected:
    std::string refusal(const std::string& content) {
        folder_.write("x.kvd", content);
        return refusal_of([&] { BasicKvdFileReader reader(folder_.file("x.kvd")); });
    }
    const kalvor_test::TemporaryFolder folder_;
};

// What nobody has looked at goes to nobody's terminal.
TEST_F(KvdHeaderFileTest, ReadersHandOutCheckedDigitsOnly) {
    KvdHeader header = pi_header();
    for (const std::string& rest : {std::string("\033[2J"), std::string(900000, '7')}) {
        header.first_digits = kPi50 + rest;
        folder_.write("x.kvd", header.text());
        EXPECT_EQ(BasicKvdFileReader(folder_.file("x.kvd")).first_digits(), kPi50);
    }
}

// At most 64 KiB are read to open a file whose header is no longer than that.
TEST_F(KvdHeaderFileTest, LongHeadersCostLittle) {
    KvdHeader header = pi_header();
    for (const u64 more : {0, 10000, 60000}) {
        header.first_digits = kPi50 + std::string(more, '7');
        folder_.write("x.kvd", header.text() + std::string(100000, 'x'));
        const FaultyFile disk;
        const BasicKvdFileReader reader(folder_.file("x.kvd"), disk.file_calls());
        u64 bytes = 0;
        for (const FaultyFile::Made& call : disk.calls()) {
            if (call.call == FaultyFile::Call::read) bytes += call.bytes;
        }
        EXPECT_GT(bytes, 0U);
        EXPECT_LE(bytes, 65536U) << more;
    }
}

TEST_F(KvdHeaderFileTest, FilesThatEndInTheirHeader) {
    const std::string end = "FileException|BufferedReader()|Unexpected end of file.";
    EXPECT_EQ(refusal(""), end);
    EXPECT_EQ(refusal("#Compressed Digit File\r\n"), end);
    EXPECT_EQ(refusal(std::string(100000, 'x')), end);
    const std::string header = pi_header().text();
    EXPECT_EQ(refusal(header.substr(0, header.size() - 1)), end) << "without the 0 byte";
    EXPECT_EQ(refusal(header), "nothing thrown") << "data are not looked at";
}

TEST_F(KvdHeaderFileTest, HeadersWithoutEnd) {
    const std::string none = kMaking + "This is not a .kvd file: its header has no end.";
    EXPECT_EQ(refusal(std::string(kLongestKvdHeader, 'x')), none);
    std::string text = pi_header().text();
    text.pop_back();
    EXPECT_EQ(refusal(text + std::string(2 * kLongestKvdHeader, ' ')), none);
    // A header is read on as long as it may be.
    text += std::string(kLongestKvdHeader - 1 - text.size(), ' ');
    EXPECT_EQ(refusal(text + '\0'), "nothing thrown");
    EXPECT_EQ(refusal(text + ' ' + '\0'), none);
}

TEST_F(KvdHeaderFileTest, FirstDigitsOfAMegabyte) {
    KvdHeader header = pi_header();
    header.first_digits = std::string(900000, '1') + ".";
    EXPECT_NE(refusal(header.text()).find("InconsistentMetaData"), std::string::npos);
    header.first_digits = "3." + std::string(900000, '1');
    EXPECT_EQ(refusal(header.text()), "nothing thrown");
    header.first_digits = std::string(900000, 'x');
    EXPECT_NE(refusal(header.text()).find("InconsistentMetaData"), std::string::npos);
}

TEST_F(KvdHeaderFileTest, OpeningReadsOneSector) {
    folder_.write("x.kvd", pi_header().text() + std::string(1 << 20, 'x'));
    FaultyFile disk;
    BasicKvdFileReader reader(folder_.file("x.kvd"), disk.file_calls());
    u64 bytes = 0;
    for (const FaultyFile::Made& call : disk.calls())
        bytes += call.call == FaultyFile::Call::read ? call.bytes : 0;
    EXPECT_EQ(bytes, 4096U);
}

}  // namespace
}  // namespace kalvor
