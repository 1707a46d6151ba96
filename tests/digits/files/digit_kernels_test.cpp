// The byte loops and the digit hash against their definitions, on every instruction set.
#include "digits/files/digit_kernels.h"

#include <gmp.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "base/errors/exceptions.h"
#include "digits/files/digit_counts.h"
#include "digits/files/digit_hash.h"
#include "digits/files/random_values.h"
#include "reference/mpz_u64.h"

using namespace kalvor;
using trel::u32;
using trel::u64;
using trel::u8;

namespace {

// The number that the digits spell, mod 2^61 - 1, by GMP.
u64 reference_hash(const std::vector<u8>& values, u32 radix) {
    mpz_t x, m;
    mpz_init_set_ui(m, 1);
    mpz_mul_2exp(m, m, 61);
    mpz_sub_ui(m, m, 1);
    std::string text = "0";
    for (const u8 v : values) text += "0123456789abcdef"[v];
    mpz_init_set_str(x, text.c_str(), static_cast<int>(radix));
    mpz_mod(x, x, m);
    const u64 r = reference::u64_of(mpz_class(x));
    mpz_clear(x);
    mpz_clear(m);
    return r;
}

class KernelsTest : public ::testing::TestWithParam<trel::Isa> {
  protected:
    const DigitKernels& kernels_ = digit_kernels(GetParam());
};

}  // namespace

TEST_P(KernelsTest, NamesItsLevel) {
    EXPECT_STREQ(kernels_.isa, trel::isa_name(GetParam()));
}

TEST_P(KernelsTest, ThereAndBack) {
    for (const u32 radix : {10, 16}) {
        for (u64 n = 0; n < 300; n++) {
            const std::vector<u8> values = random_values(n, radix, n);
            std::string text(n + 2, '?');
            ASSERT_TRUE(kernels_.to_text(text.data() + 1, values.data(), n, radix));
            ASSERT_EQ(text.front(), '?');
            ASSERT_EQ(text.back(), '?');
            for (u64 i = 0; i < n; i++) ASSERT_EQ(text[i + 1], "0123456789abcdef"[values[i]]);
            std::vector<u8> back(n + 1, 99);
            ASSERT_TRUE(kernels_.to_values(back.data(), text.data() + 1, n, radix));
            ASSERT_EQ(back.back(), 99);
            back.pop_back();
            ASSERT_EQ(back, values);
            // In place.
            ASSERT_TRUE(kernels_.to_text(reinterpret_cast<char*>(back.data()), back.data(), n, radix));
            ASSERT_EQ(std::string(back.begin(), back.end()), text.substr(1, n));
        }
    }
}

TEST_P(KernelsTest, EveryBadByteIsSeenEverywhere) {
    for (const u32 radix : {10, 16}) {
        for (const u64 n : {1, 31, 32, 33, 64, 200}) {
            std::vector<u8> values = random_values(n, radix, n);
            std::string text(n, '0'), out(n, ' ');
            ASSERT_TRUE(kernels_.to_text(text.data(), values.data(), n, radix));
            for (const u64 at : {u64(0), n / 2, n - 1}) {
                for (u32 byte = 0; byte < 256; byte++) {
                    const u8 good_value = values[at];
                    values[at] = static_cast<u8>(byte);
                    ASSERT_EQ(kernels_.to_text(out.data(), values.data(), n, radix), byte < radix) << byte;
                    values[at] = good_value;
                    const char good = text[at];
                    text[at] = static_cast<char>(byte);
                    const bool digit =
                        (byte >= '0' && byte <= '9') || (radix == 16 && byte >= 'a' && byte <= 'f');
                    std::vector<u8> back(n);
                    ASSERT_EQ(kernels_.to_values(back.data(), text.data(), n, radix), digit) << byte;
                    text[at] = good;
                }
            }
        }
    }
}

TEST_P(KernelsTest, Counts) {
    for (const u32 radix : {10, 16}) {
        for (const u64 n : {u64(0), u64(1), u64(31), u64(32), u64(63), u64(65), u64(1000), u64(255 * 64),
                            u64(255 * 64 + 65), u64(100003)}) {
            // Some values lie above the radix.
            const std::vector<u8> values = random_values(n, n % 2 ? radix : radix + 5, n + radix);
            u64 want[16] = {}, got[16] = {};
            for (const u8 v : values) {
                if (v < radix) want[v]++;
            }
            want[3] += 7;
            got[3] = 7;  // counts are added to
            kernels_.count(got, values.data(), n, radix);
            for (u32 d = 0; d < 16; d++) ASSERT_EQ(got[d], want[d]) << "n=" << n << " digit " << d;
        }
    }
    // Byte counters at their limit.
    for (const u8 v : {u8(0), u8(9), u8(15)}) {
        const std::vector<u8> same(255 * 64 * 3 + 17, v);
        u64 got[16] = {};
        kernels_.count(got, same.data(), same.size(), v < 10 ? 10 : 16);
        for (u32 d = 0; d < 16; d++) ASSERT_EQ(got[d], d == v ? same.size() : 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, KernelsTest, ::testing::ValuesIn(trel::available_isas()),
                         [](const auto& info) { return trel::isa_name(info.param); });

TEST(DigitHashTest, MatchesTheIntegerOfTheDigits) {
    for (const u32 radix : {10, 16}) {
        for (u64 n = 0; n < 200; n++) {
            const std::vector<u8> values = random_values(n, radix, n);
            ASSERT_EQ(extend_digit_hash(0, values.data(), n, radix), reference_hash(values, radix)) << n;
            const std::vector<u8> largest(n, static_cast<u8>(radix - 1));
            ASSERT_EQ(extend_digit_hash(0, largest.data(), n, radix), reference_hash(largest, radix)) << n;
        }
    }
}

TEST(DigitHashTest, RangesJoin) {
    const std::vector<u8> values = random_values(500, 10, 1);
    for (u64 cut = 0; cut <= 500; cut += 7) {
        const u64 first = extend_digit_hash(0, values.data(), cut, 10);
        ASSERT_EQ(extend_digit_hash(first, values.data() + cut, 500 - cut, 10), reference_hash(values, 10));
    }
}

// Words that are already there give the hash of their digits; words of radix 16 may be any.
TEST(DigitHashTest, OfWordsIsThatOfTheirDigits) {
    std::mt19937_64 random(9);
    for (const u32 radix : {10U, 16U}) {
        const u64 per_word = radix == 10 ? 19 : 16;
        for (u64 n = 0; n < 20; n++) {
            std::vector<u8> values(per_word * n);
            for (u8& v : values) v = static_cast<u8>(n % 3 == 0 ? radix - 1 : random() % radix);
            std::vector<trel::Word> words(n);
            for (u64 i = 0; i < values.size(); i++)
                words[i / per_word] = words[i / per_word] * radix + values[i];
            ASSERT_EQ(extend_word_hash(0, words.data(), n, radix), reference_hash(values, radix)) << n;
            const u64 first = extend_word_hash(0, words.data(), n / 2, radix);
            ASSERT_EQ(extend_word_hash(first, words.data() + n / 2, n - n / 2, radix),
                      reference_hash(values, radix));
        }
    }
}

TEST(DigitHashTest, KnownValues) {
    // 2^61 - 1 = 2305843009213693951 is 0; pi to 50 digits.
    const auto hash_of = [](const std::string& text) {
        std::vector<u8> values(text.size());
        EXPECT_TRUE(digit_kernels().to_values(values.data(), text.data(), text.size(), 10));
        return extend_digit_hash(0, values.data(), values.size(), 10);
    };
    EXPECT_EQ(hash_of("2305843009213693951"), 0U);
    EXPECT_EQ(hash_of("2305843009213693952"), 1U);
    EXPECT_EQ(hash_of("1234567890123456789"), 1234567890123456789U);
    EXPECT_EQ(hash_of("314159265358979323846264338327950288419716939937510"), 1415131485477934574U);
}

TEST(DigitCountsTest, RadixRange) {
    EXPECT_NO_THROW(DigitCounts(2));
    EXPECT_NO_THROW(DigitCounts(16));
    for (const u8 radix : {0, 1, 17, 255}) {
        try {
            DigitCounts counts(radix);
            FAIL();
        } catch (const trel::InvalidParametersException& e) {
            EXPECT_EQ(e.function, "DigitCounts::DigitCounts()");
            EXPECT_EQ(e.message, "Radix is too large.");
        }
    }
    DigitCounts a(10), b(10);
    a.count[3] = 5;
    b.count[3] = 6;
    b.count[9] = 1;
    EXPECT_FALSE(a == b);
    b = a;
    EXPECT_TRUE(a == b);
}
