#include "digits/files/digit_packing.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "digits/files/random_values.h"
#include "digits/files/word_digits.h"

namespace kalvor {
namespace {

using trel::u32;
using trel::u64;
using trel::u8;
using trel::Word;

class DigitPackingTest : public testing::TestWithParam<trel::Isa> {
  protected:
    const DigitPacking& kernels() { return digit_packing(GetParam()); }

    // At an odd address, with bytes around that must not change.
    std::vector<Word> packed(const std::vector<u8>& values, u32 per_word) {
        const u64 n = values.size() / per_word;
        std::vector<u8> out(8 * n + 6, 0xA5);
        EXPECT_TRUE(
            (per_word == 19 ? kernels().decimal : kernels().hexadecimal)(out.data() + 3, values.data(), n));
        return words_of(out, n);
    }
    std::vector<Word> shifted(const std::vector<Word>& words, u64 n, u32 r, bool decimal) {
        std::vector<u8> out(8 * n + 6, 0xA5);
        (decimal ? kernels().shift_decimal : kernels().shift_hexadecimal)(out.data() + 3, words.data(), n, r);
        return words_of(out, n);
    }

  private:
    static std::vector<Word> words_of(const std::vector<u8>& out, u64 n) {
        for (const u64 i : {u64(0), u64(1), u64(2)}) {
            EXPECT_EQ(out[i], 0xA5);
            EXPECT_EQ(out[8 * n + 3 + i], 0xA5);
        }
        std::vector<Word> words(n);
        if (n != 0) std::memcpy(words.data(), out.data() + 3, 8 * n);
        return words;
    }
};

INSTANTIATE_TEST_SUITE_P(Levels, DigitPackingTest, testing::ValuesIn(trel::available_isas()),
                         [](const auto& info) { return trel::isa_name(info.param); });

// From the definition.
Word word_of(const u8* values, u32 per_word) {
    Word word = 0;
    for (u32 i = 0; i < per_word; i++) word = word * (per_word == 19 ? 10 : 16) + values[i];
    return word;
}

TEST_P(DigitPackingTest, KnownWords) {
    EXPECT_STREQ(kernels().isa, trel::isa_name(GetParam()));
    EXPECT_EQ(packed({1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 19),
              std::vector<Word>{1234567890123456789ULL});
    EXPECT_EQ(packed({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}, 16),
              std::vector<Word>{0x0123456789ABCDEFULL});
    EXPECT_EQ(packed(std::vector<u8>(19, 9), 19), std::vector<Word>{0x8AC7230489E7FFFFULL});
    EXPECT_EQ(packed({}, 19), std::vector<Word>{});
}

TEST_P(DigitPackingTest, WordsAreTheNumbersOfTheirDigits) {
    std::mt19937_64 random(1);
    for (const u32 per_word : {19U, 16U}) {
        for (u64 n = 1; n < 40; n++) {
            for (const bool extreme : {false, true}) {
                std::vector<u8> values = random_values(per_word * n, per_word == 19 ? 10 : 16, random);
                if (extreme) {
                    for (u8& v : values) v = v % 2 ? static_cast<u8>(per_word == 19 ? 9 : 15) : u8(0);
                }
                const std::vector<Word> words = packed(values, per_word);
                for (u64 i = 0; i < n; i++) {
                    ASSERT_EQ(words[i], word_of(values.data() + per_word * i, per_word)) << n << " " << i;
                }
            }
        }
    }
}

TEST_P(DigitPackingTest, EveryInvalidDigitIsSeen) {
    std::mt19937_64 random(2);
    for (const u32 per_word : {19U, 16U}) {
        const u8 radix = per_word == 19 ? 10 : 16;
        constexpr u64 kWords = 13;  // every loop, and a rest of one
        std::vector<u8> values = random_values(per_word * kWords, radix, random);
        std::vector<u8> out(8 * kWords);
        const auto pack = per_word == 19 ? kernels().decimal : kernels().hexadecimal;
        for (u8& v : values) {
            const u8 kept = v;
            for (const u8 bad : {radix, u8(127), u8(128), u8(255)}) {
                v = bad;
                ASSERT_FALSE(pack(out.data(), values.data(), kWords)) << &v - values.data();
            }
            v = kept;
        }
        ASSERT_TRUE(pack(out.data(), values.data(), kWords));
    }
}

TEST_P(DigitPackingTest, ShiftedWordsAreMadeOfTwoNeighbours) {
    std::mt19937_64 random(3);
    for (const bool is_decimal : {true, false}) {
        const u32 per_word = is_decimal ? 19 : 16;
        for (u32 r = 1; r < per_word; r++) {
            for (const u64 n : {0, 1, 2, 3, 8, 33}) {
                for (int kind = 0; kind < 4; kind++) {
                    // Random digits; all of the largest; a 9 or 0 alone beside the cut.
                    std::vector<u8> values = random_values(per_word * (n + 1), is_decimal ? 10 : 16, random);
                    const u8 largest = is_decimal ? 9 : 15;
                    if (kind == 1) values.assign(values.size(), largest);
                    if (kind >= 2) {
                        values.assign(values.size(), kind == 2 ? u8(0) : largest);
                        for (u64 i = 0; i <= n; i++) {
                            values[per_word * i + r - (random() & 1)] = kind == 2 ? largest : u8(0);
                        }
                    }
                    std::vector<Word> words;
                    for (u64 i = 0; i <= n; i++)
                        words.push_back(word_of(values.data() + per_word * i, per_word));
                    const std::vector<Word> got = shifted(words, n, r, is_decimal);
                    for (u64 i = 0; i < n; i++) {
                        ASSERT_EQ(got[i], word_of(values.data() + per_word * i + r, per_word))
                            << r << " " << i;
                    }
                }
            }
        }
    }
}

TEST_P(DigitPackingTest, WordsAboveTheLargestAreSeen) {
    std::vector<Word> words(21, kLargestDecimalWord);
    EXPECT_TRUE(kernels().are_decimal(words.data(), words.size()));
    EXPECT_TRUE(kernels().are_decimal(words.data(), 0));
    for (Word& word : words) {
        for (const Word bad : {kLargestDecimalWord + 1, ~Word(0)}) {
            word = bad;
            ASSERT_FALSE(kernels().are_decimal(words.data(), words.size()));
        }
        word = 0;
    }
    EXPECT_TRUE(kernels().are_decimal(words.data(), words.size()));
}

TEST_P(DigitPackingTest, PacksWhatWordDigitsUnpacks) {
    std::mt19937_64 random(4);
    std::vector<Word> words(1000);
    for (Word& w : words) w = random() % (kLargestDecimalWord + 1);
    std::vector<u8> values(19 * words.size());
    word_digits(GetParam()).decimal(values.data(), words.data(), words.size());
    EXPECT_EQ(packed(values, 19), words);
    values.resize(16 * words.size());
    word_digits(GetParam()).hexadecimal(values.data(), words.data(), words.size());
    EXPECT_EQ(packed(values, 16), words);
}

}  // namespace
}  // namespace kalvor
