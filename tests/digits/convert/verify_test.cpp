#include "digits/convert/verify.h"

#include <gtest/gtest.h>

#include <random>

#include "arith/m61/m61.h"
#include "base/errors/exceptions.h"
#include "digits/convert/convert.h"
#include "reference/radix_reference.h"
#include "support/capture_console.h"
#include "support/scratch.h"

namespace kalvor::CBRv2 {
namespace {

const mpz_class kM61 = (mpz_class(1) << 61) - 1;

u64 residue(const mpz_class& z) {
    return reference::u64_of(z % kM61);
}

struct Value {
    std::vector<Word> words;
    BigFloat x;
    Value(u64 L, i64 exp, u64 seed) : words(L) {
        std::mt19937_64 rng(seed);
        for (Word& w : words) w = rng();
        words[L - 1] |= 1;
        x = BigFloat(words.data(), L);
        x.L = L;
        x.exp = exp;
        x.sign = true;
    }
};

// floor(|x| 10^d) mod M61 by definition
u64 hash_by_definition(const BigFloat& x, u64 d) {
    mpz_class power;
    mpz_ui_pow_ui(power.get_mpz_t(), 10, d);
    return residue(reference::shifted(reference::to_mpz(x.T, x.L) * power, x.exp));
}

TEST(VerifyTest, HashOfTheBinaryValue) {
    u64 products = 0;
    for (const u64 L : {1, 2, 5, 17, 40, 41}) {
        for (const i64 exp :
             {i64(3), i64(0), -static_cast<i64>(L) + 1, -static_cast<i64>(L), -static_cast<i64>(L) - 3}) {
            for (const u64 d : {0, 1, 19, 63, 64, 65, 190, 703, 760, 800}) {
                const Value v(L, exp, L + d);
                const u64 below = exp < 0 ? static_cast<u64>(-exp) : 0;
                const u64 bytes = VerifyB::needs(10000, d / 19, 1).bytes;
                Scratch memory(std::max<u64>(bytes, 64) + 4096);
                const MultiplyContext context{trel::serial_context(), memory.view(), nullptr};
                ASSERT_EQ(VerifyB::hash_binary(context, trel::null_status(), v.x, d),
                          hash_by_definition(v.x, d))
                    << "L=" << L << " exp=" << exp << " d=" << d;
                products += 64 * below > d;
            }
        }
    }
    EXPECT_GT(products, 50u);
}

TEST(VerifyTest, HashOfRadixWords) {
    std::mt19937_64 rng(1);
    std::vector<Word> words(12);
    for (Word& w : words) w = rng() % kRadix19;
    mpz_class value = 0;
    for (u64 n = 0; n <= 12; n++) {
        EXPECT_EQ(VerifyB::hash_radix(words.data(), 12, n).words, residue(value));
        if (n < 12) value = value * reference::to_mpz(&kRadix19, 1) + reference::to_mpz(&words[11 - n], 1);
    }
}

TEST(VerifyTest, HashOfDigits) {
    std::mt19937_64 rng(2);
    std::vector<Word> words(23);
    std::string digits;
    for (Word& w : words) w = rng() % kRadix19;
    for (u64 i = words.size(); i-- > 0;) {
        const std::string word = std::to_string(words[i]);
        digits += std::string(19 - word.size(), '0') + word;
    }
    const auto hash = [&](u64 n) { return n == 0 ? 0 : residue(mpz_class(digits.substr(0, n), 10)); };
    for (const u64 n_verify : {0, 1, 7, 13, 22, 23}) {
        for (u64 n = 0; n <= digits.size(); n++) {
            const VerifyB::Hashes hashes = VerifyB::hash_radix(words.data(), 23, n_verify, n);
            ASSERT_EQ(hashes.words, hash(19 * n_verify)) << n;
            ASSERT_EQ(hashes.digits, hash(n)) << n;
        }
    }
}

struct Converted {
    explicit Converted(u64 n, u64 extra_words = 0)
        : plan(ConvertPlanP::make(kRadix19, n, kNoBudget, 1)),
          value(plan.length(n) + 1 + extra_words, -static_cast<i64>(plan.length(n) + extra_words), n),
          words(n) {
        Scratch memory(plan.needs().bytes);
        convert(plan, {trel::serial_context(), memory.view(), nullptr}, trel::null_status(), words.data(),
                value.x);
    }
    // Runs in exactly the planned memory; the message of the failure.
    std::string verify(u64 n_verify) {
        Scratch memory(VerifyB::needs(plan.n, n_verify, 1).bytes);
        try {
            VerifyB::run({trel::serial_context(), memory.view(), nullptr}, trel::null_status(), words.data(),
                         plan.n, n_verify, value.x);
        } catch (const trel::AlgorithmFailedException& e) {
            return e.function + " " + e.message;
        }
        EXPECT_TRUE(memory.guards_intact());
        return "";
    }
    ConvertPlanP plan;
    Value value;
    std::vector<Word> words;
};

TEST(VerifyTest, AcceptsConversions) {
    for (const u64 n : {4, 15, 16, 40, 44}) {
        for (const u64 extra : {0, 1, 5}) {
            Converted c(n, extra);
            for (const u64 n_verify : {u64(1), n / 2, n - 3, n - 1}) EXPECT_EQ(c.verify(n_verify), "") << n;
        }
    }
}

// Values below the last digit have the hash of zero, in memory that does not grow with their distance.
TEST(VerifyTest, ValuesFarBelowTheLastDigit) {
    for (const i64 exp : {i64(-100), i64(-1000000), -(i64(1) << 58)}) {
        const Value v(7, exp, 3);
        const std::vector<Word> zeros(20, 0);
        Scratch memory(VerifyB::needs(20, 15, 1).bytes);
        const MultiplyContext context{trel::serial_context(), memory.view(), nullptr};
        const VerifyB::Hashes hashes =
            VerifyB::run(context, trel::null_status(), zeros.data(), 20, 15, v.x, 15 * 19, "test");
        EXPECT_EQ(hashes.digits, 0u);
    }
}

TEST(VerifyTest, EveryFlippedBitIsFound) {
    Converted c(20);
    for (u64 i = 0; i < 17; i++) {
        for (unsigned bit = 0; bit < 64; bit += 7) {
            c.words[19 - i] ^= Word(1) << bit;
            EXPECT_EQ(c.verify(17), "FloatWriterB::verify() Base Conversion Failed: Checksum Mismatch");
            c.words[19 - i] ^= Word(1) << bit;
        }
    }
    EXPECT_EQ(c.verify(17), "");
    // a unit moved between words keeps nothing
    c.words[10]++;
    c.words[9]--;
    EXPECT_NE(c.verify(17), "");
}

// A shifted product of the conversion gives digits that agree with each other but not with the value.
TEST(VerifyTest, ConsistentButWrongDigitsAreFound) {
    Converted c(20);
    c.value.words[c.value.words.size() - 2] ^= 1;
    EXPECT_NE(c.verify(17), "");
}

TEST(VerifyTest, TooFewWords) {
    Converted c(16);
    Scratch memory(1 << 16);
    try {
        VerifyB::run({trel::serial_context(), memory.view(), nullptr}, trel::null_status(), c.words.data(),
                     16, 17, c.value.x);
        FAIL();
    } catch (const trel::BufferTooSmallException& e) {
        EXPECT_EQ(e.function, "FloatWriterB::verify()");
        EXPECT_EQ(e.buffer_size, 16u);
        EXPECT_EQ(e.required_size, 17u);
    }
}

// The conversion shows a value just below a decimal as that decimal: the one unit between them is accepted,
// and only where the guard words say that it was rounded.
TEST(VerifyTest, RoundedUpToADecimal) {
    const u64 n = 9, verified = 6, L = fraction_length(radix_word_size(kRadix19), n);
    mpz_class ten;
    mpz_ui_pow_ui(ten.get_mpz_t(), 10, 20);
    std::vector<Word> words =
        reference::to_words(reference::shifted(mpz_class(1), static_cast<i64>(L)) / ten, L);
    BigFloat x(words.data(), L);
    x.L = L - 1;
    x.exp = -static_cast<i64>(L);
    x.sign = true;
    Scratch memory(trel::round_up_64(VerifyB::needs(n, verified, 1).bytes));
    const MultiplyContext context{trel::serial_context(), memory.view(), nullptr};
    const auto accepted = [&](const std::vector<Word>& radix_words) {
        CaptureConsole console;
        try {
            VerifyB::run(context, trel::null_status(), radix_words.data(), n, verified, x);
            return true;
        } catch (const trel::AlgorithmFailedException&) {
            return false;
        }
    };
    std::vector<Word> nines(n, kRadix19 - 1), rounded(n, 0);
    nines[n - 1] = 0;
    nines[n - 2] = kRadix19 / 10 - 1;
    rounded[n - 2] = kRadix19 / 10;
    EXPECT_TRUE(accepted(nines));
    EXPECT_TRUE(accepted(rounded));
    for (u64 i = 0; i < n; i++) {
        std::vector<Word> wrong = rounded;
        wrong[i]++;
        EXPECT_FALSE(accepted(wrong)) << i;
    }
    rounded[n - 2]--;
    EXPECT_FALSE(accepted(rounded));
}

}  // namespace
}  // namespace kalvor::CBRv2
