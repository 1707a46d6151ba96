#include "digits/files/word_digits.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace kalvor {
namespace {

using trel::u64;
using trel::u8;
using trel::Word;

constexpr Word kR = 10000000000000000000ULL;

std::string text(const std::vector<u8>& values) {
    std::string s;
    for (const u8 v : values) s += "0123456789abcdef?"[v < 16 ? v : 16];
    return s;
}

class WordDigitsTest : public testing::TestWithParam<trel::Isa> {
  protected:
    const WordDigits& kernels() { return word_digits(GetParam()); }
    // One byte more on each side that must not change.
    std::string decimal(const std::vector<Word>& words) {
        std::vector<u8> out(19 * words.size() + 2, 99);
        kernels().decimal(out.data() + 1, words.data(), words.size());
        EXPECT_TRUE(out.front() == 99 && out.back() == 99);
        return text({out.begin() + 1, out.end() - 1});
    }
    std::string hexadecimal(const std::vector<Word>& words) {
        std::vector<u8> out(16 * words.size() + 2, 99);
        kernels().hexadecimal(out.data() + 1, words.data(), words.size());
        EXPECT_TRUE(out.front() == 99 && out.back() == 99);
        return text({out.begin() + 1, out.end() - 1});
    }
};

INSTANTIATE_TEST_SUITE_P(Isas, WordDigitsTest, testing::ValuesIn(trel::available_isas()),
                         [](const auto& info) { return trel::isa_name(info.param); });

std::string padded(Word w) {
    std::string s = std::to_string(w);
    return std::string(19 - s.size(), '0') + s;
}

TEST_P(WordDigitsTest, Decimal) {
    EXPECT_STREQ(kernels().isa, trel::isa_name(GetParam()));
    EXPECT_EQ(decimal({}), "");
    EXPECT_EQ(decimal({1234567890123456789}), "1234567890123456789");
    std::vector<Word> words = {0, kR - 1};
    for (Word p = 1; p < kR / 10; p *= 10) {
        for (Word d = 1; d < 10; d++) {
            words.push_back(d * p);
            words.push_back(d * p - 1);
        }
    }
    std::mt19937_64 rng(3);
    for (int i = 0; i < 20000; i++) words.push_back((rng() >> rng() % 64) % kR);
    std::string want;
    for (const Word w : words) want += padded(w);
    EXPECT_EQ(decimal(words), want);
    // Every group of four digits, in every place.
    words.clear();
    want.clear();
    for (u64 g = 0; g < 10000; g++) {
        words.push_back(g * 1000100010001ULL + g % 1000 * 10000000000000000ULL);
        want += padded(words.back());
    }
    EXPECT_EQ(decimal(words), want);
}

TEST_P(WordDigitsTest, Hexadecimal) {
    EXPECT_EQ(hexadecimal({0x0123456789ABCDEF}), "0123456789abcdef");
    std::mt19937_64 rng(4);
    std::vector<Word> words = {0, ~Word(0)};
    for (int i = 0; i < 1000; i++) words.push_back(rng());
    std::string want;
    for (const Word w : words) {
        char buffer[17];
        std::snprintf(buffer, sizeof buffer, "%016llx", w);
        want += buffer;
    }
    EXPECT_EQ(hexadecimal(words), want);
}

}  // namespace
}  // namespace kalvor
