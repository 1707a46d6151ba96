#include "digits/bbp/fraction_float.h"

#include <gtest/gtest.h>

#include <random>

#include "base/errors/exceptions.h"
#include "reference/bbp_reference.h"
#include "support/message_of.h"

namespace kalvor::BBPv2 {
namespace {

using kalvor_test::message_of;
using reference::mpz_of_limbs;
using reference::power_of_two;
using trel::i64;
using trel::u64;

TEST(FractionFloatTest, Lengths) {
    for (const u64 n : {0, 1}) {
        EXPECT_EQ(message_of<trel::InvalidParametersException>([&] { FractionFloat f(n); }),
                  "FractionFloat::FractionFloat()|Length must be at least 2.");
    }
    FractionFloat two(2), three(3);
    EXPECT_EQ(message_of<trel::InvalidParametersException>([&] { two.add(three); }),
              "FractionFloat::add()|Lengths do not match.");
    EXPECT_EQ(message_of<trel::InvalidParametersException>([&] { three.subtract(two); }),
              "FractionFloat::subtract()|Lengths do not match.");
    EXPECT_EQ(message_of<trel::InvalidParametersException>([&] { two.add(two); }), "nothing thrown");
}

// Limbs at the edges, where carries run through.
FractionFloat random_fraction(std::mt19937_64& rng, u64 n) {
    FractionFloat f(n);
    for (u64& limb : f.limbs())
        limb = (rng() % 3 == 0 ? ~u64(0) : rng() % 2 ? 0 : rng()) & FractionFloat::kMask;
    return f;
}

TEST(FractionFloatTest, ArithmeticModuloOne) {
    std::mt19937_64 rng(1);
    for (int i = 0; i < 2000; i++) {
        const u64 n = 2 + rng() % 6;
        const mpz_class one = power_of_two(48 * n);
        const FractionFloat x = random_fraction(rng, n), y = random_fraction(rng, n);
        FractionFloat sum = x, difference = x;
        sum.add(y);
        difference.subtract(y);
        const mpz_class want_sum = (mpz_of_limbs(x.limbs()) + mpz_of_limbs(y.limbs())) % one;
        const mpz_class want_difference = (mpz_of_limbs(x.limbs()) - mpz_of_limbs(y.limbs()) + one) % one;
        ASSERT_TRUE(mpz_of_limbs(sum.limbs()) == want_sum);
        ASSERT_TRUE(mpz_of_limbs(difference.limbs()) == want_difference);
        for (const u64 limb : sum.limbs()) ASSERT_LE(limb, FractionFloat::kMask);
        const u64 s = 1 + rng() % (48 * n + 20);
        FractionFloat power = x;
        power.add_power(s);
        const mpz_class added = s <= 48 * n ? power_of_two(48 * n - s) : mpz_class(0);
        ASSERT_TRUE(mpz_of_limbs(power.limbs()) == (mpz_of_limbs(x.limbs()) + added) % one) << s;
        sum.clear();
        ASSERT_TRUE(sum == FractionFloat(n));
    }
}

TEST(FractionFloatTest, LanesAreSigned) {
    std::mt19937_64 rng(2);
    for (int i = 0; i < 500; i++) {
        const u64 n = 2 + rng() % 5;
        std::vector<u64> sums(8 * n);
        FractionFloat f = random_fraction(rng, n);
        mpz_class want = 0;
        for (u64 j = 0; j < n; j++) {
            want *= power_of_two(48);
            for (u64 lane = 0; lane < 8; lane++) {
                // Up to 63 bits with a sign.
                sums[8 * j + lane] = static_cast<u64>(static_cast<i64>(rng()) >> (1 + rng() % 40));
                want += reference::mpz_of_signed(static_cast<i64>(sums[8 * j + lane]));
            }
        }
        want += mpz_of_limbs(f.limbs());
        mpz_fdiv_r_2exp(want.get_mpz_t(), want.get_mpz_t(), 48 * n);
        f.add_lanes(sums.data());
        ASSERT_TRUE(mpz_of_limbs(f.limbs()) == want);
    }
}

TEST(FractionFloatTest, Hexadecimal) {
    FractionFloat f(2);
    f.limbs()[0] = 0x0123456789AB;
    f.limbs()[1] = 0xCDEF00000001;
    EXPECT_EQ(f.hexadecimal(24), "0123456789ABCDEF00000001");
    EXPECT_EQ(f.hexadecimal(13), "0123456789ABC");
    EXPECT_EQ(f.hexadecimal(0), "");
}

}  // namespace
}  // namespace kalvor::BBPv2
