#include "digits/output/float_reader.h"

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <algorithm>

#include <random>
#include <vector>

#include "base/errors/exceptions.h"
#include "digits/output/digit_stats.h"
#include "reference/mpz_u64.h"
#include "support/scratch.h"

namespace kalvor {
namespace {

using trel::BigFloat;
using trel::InvalidParametersException;
using trel::u64;
using trel::u8;
using trel::Word;

constexpr Word kR = 10000000000000000000ULL;
constexpr u64 kM61 = (u64(1) << 61) - 1;

// Decimal digits as text, and the radix words that hold them.
struct Decimal {
    Decimal(u64 n, u64 seed) : words(n) {
        std::mt19937_64 rng(seed);
        for (u64 i = n; i-- > 0;) {
            words[i] = rng() % kR;
            const std::string s = std::to_string(words[i]);
            text += std::string(19 - s.size(), '0') + s;
        }
    }
    std::vector<Word> words;
    std::string text;
};

std::string load(BasicDigitReader& reader, u64 start, u64 count, u64 scratch_bytes = 0) {
    Scratch scratch(scratch_bytes != 0 ? scratch_bytes : trel::round_up_64(reader.buffer_size(count, 1 << 30)));
    std::vector<u8> values(count + 1, 77);
    reader.load_digits(values.data(), start, count, scratch.view(), trel::serial_context());
    EXPECT_EQ(values[count], 77);
    EXPECT_TRUE(scratch.guards_intact());
    std::string text;
    for (u64 i = 0; i < count; i++) text += "0123456789abcdef"[values[i]];
    return text;
}

TEST(FloatReaderTest, EveryRange) {
    const Decimal d(7, 1);
    FloatReaderB reader(3, d.words.data(), 7, 130);
    EXPECT_EQ(reader.radix(), 10);
    EXPECT_EQ(reader.total_digits(), 130u);
    EXPECT_EQ(reader.first_digits(), "3." + d.text.substr(0, 50));
    for (u64 start = 0; start <= 130; start += 1) {
        for (u64 count = 0; start + count <= 130; count += 1 + count / 3) {
            ASSERT_EQ(load(reader, start, count), d.text.substr(start, count)) << start << " " << count;
        }
    }
    EXPECT_THROW(load(reader, 100, 31), InvalidParametersException);
    EXPECT_THROW((FloatReaderB(3, d.words.data(), 7, 134)), InvalidParametersException);
}

TEST(FloatReaderTest, SmallScratchReadsInPieces) {
    const Decimal d(500, 2);
    FloatReaderB reader(0, d.words.data(), 500, 9500);
    EXPECT_EQ(load(reader, 7, 9000, 128), d.text.substr(7, 9000));
    EXPECT_LE(reader.buffer_size(9000, 256), 256u);
    EXPECT_GE(reader.buffer_size(1, 0), 80u);
    try {
        load(reader, 0, 1, 64);
        FAIL();
    } catch (const trel::BufferTooSmallException& e) {
        EXPECT_EQ(e.function, "FloatReaderB::load_digits()");
        EXPECT_EQ(e.buffer_size, 8u);
        EXPECT_EQ(e.required_size, 10u);
    }
}

TEST(FloatReaderTest, Words) {
    const Decimal d(5, 3);
    const FloatReaderB reader(0, d.words.data(), 5, 95);
    Word words[4];
    reader.load_words(words, 1, 4);
    for (u64 i = 0; i < 4; i++) EXPECT_EQ(words[i], d.words[3 - i]);
    try {
        reader.load_words(words, -1, 1);
        FAIL();
    } catch (const InvalidParametersException& e) {
        EXPECT_EQ(e.message, "Attempted to read in front of decimal place.");
    }
}

TEST(FloatReaderTest, Hexadecimal) {
    Word words[3] = {0x1111222233334444, 0x0123456789abcdef, 0xa5};
    BigFloat x(words, 3);
    x.L = 3;
    x.exp = -2;
    FloatReaderB reader(x, 40);
    EXPECT_EQ(reader.radix(), 16);
    EXPECT_EQ(reader.first_digits(), "a5.0123456789abcdef111122223333444400000000");
    EXPECT_EQ(load(reader, 3, 20), "3456789abcdef1111222");
    // below one, with zero words after the point that are not stored
    x.L = 2;
    x.exp = -4;
    FloatReaderB small(x, 64);
    EXPECT_EQ(load(small, 0, 64), std::string(32, '0') + "0123456789abcdef1111222233334444");
    x.exp = 0;
    try {
        FloatReaderB refused(x, 10);
        FAIL();
    } catch (const InvalidParametersException& e) {
        EXPECT_EQ(e.function, "FloatReaderB::FloatReaderB()");
        EXPECT_EQ(e.message, "Object is out of range.");
    }
}

TEST(FloatReaderTest, Stats) {
    const Decimal d(2000, 4);
    FloatReaderB reader(0, d.words.data(), 2000, 38000);
    Scratch scratch(4096);
    DigitRangeStats stats(10);
    reader.load_stats(stats, 11, 30000, scratch.view(), trel::serial_context());
    const std::string range = d.text.substr(11, 30000);
    const mpz_class hash = mpz_class(range) % mpz_class(std::to_string(kM61));
    EXPECT_EQ(stats.hash, reference::u64_of(hash));
    for (u8 v = 0; v < 10; v++) {
        EXPECT_EQ(stats.counts.count[v], static_cast<u64>(std::count(range.begin(), range.end(), '0' + v)));
    }
}

TEST(DigitStatsTest, LastDigits) {
    const Decimal d(60, 5);
    FloatReaderB reader(0, d.words.data(), 60, 1100);
    const struct {
        u64 total, start;
    } cases[] = {{1, 0}, {50, 0}, {100, 0}, {101, 50}, {150, 50}, {151, 100}, {1000, 900}, {1001, 950}, {1100, 1000}};
    for (const auto& c : cases) {
        LastDigits last;
        last.set(c.total, reader);
        EXPECT_EQ(last.start, c.start) << c.total;
        EXPECT_EQ(last.radix, 10);
        EXPECT_EQ(last.text, d.text.substr(c.start, c.total - c.start));
    }
    const Decimal million(52632, 6);
    FloatReaderB large(0, million.words.data(), million.words.size(), 1000000);
    LastDigits last;
    last.set(1000000, large);
    EXPECT_EQ(last.start, 999900u);
    EXPECT_EQ(last.text, million.text.substr(999900, 100));
}

TEST(DigitStatsTest, HashedDigits) {
    // 1 / 3
    const std::vector<Word> words(3, 3333333333333333333ULL);
    FloatReaderB reader(0, words.data(), 3, 57);
    const HashedDigits hashed = HashedDigits::make(reader, 20, 3);
    EXPECT_EQ(hashed.start, 20u);
    EXPECT_EQ(hashed.count, 3u);
    // sha256("333"), published by every implementation of FIPS 180-4
    EXPECT_EQ(hashed.sha256, "556d7dc3a115356350f1f9910b1af1ab0e312d4b3e4fc788d2da63668f36d017");
}

class OtherRadix final : public BasicDigitReader {
  public:
    OtherRadix() : BasicDigitReader(8) {}
    std::string first_digits() const override { return "0."; }
    u64 total_digits() const override { return 1000; }
    u64 buffer_size(u64, u64) const override { return 64; }
    void load_digits(u8*, u64, u64, trel::AlignedBufferC, const trel::ParallelContext&) override { FAIL(); }
    void load_stats(DigitRangeStats&, u64, u64, trel::AlignedBufferC, const trel::ParallelContext&) override {
        FAIL();
    }
};

TEST(DigitStatsTest, OtherRadixesAreRefused) {
    OtherRadix reader;
    LastDigits last;
    try {
        last.set(100, reader);
        FAIL();
    } catch (const InvalidParametersException& e) {
        EXPECT_EQ(e.function, "LastDigits::set()");
        EXPECT_EQ(e.message, "Invalid Radix.");
    }
    try {
        (void)HashedDigits::make(reader, 0, 1);
        FAIL();
    } catch (const InvalidParametersException& e) {
        EXPECT_EQ(e.function, "HashedDigits()");
        EXPECT_EQ(e.message, "Invalid Radix.");
    }
}

TEST(DigitStatsTest, Hash) {
    EXPECT_EQ(digit_hash(0, 8, 16, 1), 8u);  // 0.5
    mpz_class pi("314159265358979323846264338327950288419716939937510");
    EXPECT_EQ(reference::u64_of(pi % mpz_class(std::to_string(kM61))), 1415131485477934574u);
    const mpz_class fraction("14159265358979323846264338327950288419716939937510");
    const mpz_class residue = fraction % mpz_class(std::to_string(kM61));
    EXPECT_EQ(digit_hash(3, reference::u64_of(residue), 10, 50), 1415131485477934574u);
    EXPECT_EQ(digit_hash(kM61, 0, 10, 5), 0u);
}

TEST(DigitStatsTest, CountsText) {
    DigitCounts counts(10);
    counts.count[0] = 12;
    counts.count[9] = 3456;
    EXPECT_EQ(counts_text(counts), "{12, 0, 0, 0, 0, 0, 0, 0, 0, 3456}");
}

}  // namespace
}  // namespace kalvor
