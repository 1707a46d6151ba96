#include "digits/output/value_hash.h"

#include <gtest/gtest.h>

#include <random>

#include "base/errors/exceptions.h"
#include "reference/mpz_u64.h"
#include "reference/mpz_words.h"

namespace kalvor {
namespace {

const mpz_class kM61 = (mpz_class(1) << 61) - 1;

u64 residue(const mpz_class& z) {
    return reference::u64_of(z % kM61);
}

TEST(ValueHashTest, ByDefinition) {
    std::mt19937_64 rng(3);
    for (const u64 L : {1, 2, 5, 40, 2047, 2049, 4500}) {
        std::vector<Word> words(L);
        for (Word& w : words) w = rng();
        BigFloat x(words.data(), L);
        x.L = L;
        for (const i64 above : {-2, 0, 1}) {  // words before the point
            x.exp = above - static_cast<i64>(L);
            x.sign = above != 0;
            const u64 below = static_cast<u64>(-x.exp);
            const mpz_class z = reference::to_mpz(words.data(), L);
            const mpz_class fraction = z % (mpz_class(1) << 64 * below);
            for (const u64 digits :
                 {u64(0), u64(1), u64(15), u64(16), u64(17), 16 * L - 1, 16 * L, 16 * L + 5, 16 * L + 64}) {
                const ValueHashes hashes = hash_value(x, digits);
                const auto top = [&](u64 bits) {
                    return bits >= 64 * below ? mpz_class(fraction << (bits - 64 * below))
                                              : mpz_class(fraction >> (64 * below - bits));
                };
                const u64 n = std::min((digits + 15) / 16, below);
                EXPECT_EQ(hashes.residue, x.computed_residue(trel::serial_context()));
                EXPECT_EQ(hashes.words, residue(top(64 * n))) << L << " " << above << " " << digits;
                EXPECT_EQ(hashes.digits, residue(top(4 * digits))) << L << " " << above << " " << digits;
            }
        }
    }
}

TEST(ValueHashTest, ADamagedValueIsRefusedAndACheckIsCounted) {
    std::vector<Word> words(100, 12345);
    BigFloat x(words.data(), 100);
    x.L = 100;
    x.exp = -99;
    x.sign = true;
    trel::RunMonitor monitor;
    trel::ParallelContext parallel = trel::serial_context();
    parallel.run = &monitor;
    (void)hash_checked_value(parallel, x, 500, "test");  // carries nothing yet
    EXPECT_EQ(monitor.checks.numbers, 0U);
    x.seal(parallel);
    (void)hash_checked_value(parallel, x, 500, "test");
    EXPECT_EQ(monitor.checks.numbers, 1U);
    for (Word& w : words) {
        w ^= Word(1) << 40;
        try {
            (void)hash_checked_value(parallel, x, 500, "test");
            ADD_FAILURE();
        } catch (const trel::AlgorithmFailedException& e) {
            EXPECT_EQ(e.message.find("A number was damaged in memory: value, 100 words."), 0U) << e.message;
        }
        w ^= Word(1) << 40;
    }
}

}  // namespace
}  // namespace kalvor
