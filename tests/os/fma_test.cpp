#include "os/fma.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <random>

#include "os/types.h"

using namespace trel;

namespace {

double exact(double a, double b, double c) {
    mpfr_t x, y, z;
    mpfr_inits2(53, x, y, z, static_cast<mpfr_ptr>(nullptr));
    mpfr_set_d(x, a, MPFR_RNDN);
    mpfr_set_d(y, b, MPFR_RNDN);
    mpfr_set_d(z, c, MPFR_RNDN);
    mpfr_fma(x, x, y, z, MPFR_RNDN);
    const double result = mpfr_get_d(x, MPFR_RNDN);
    mpfr_clears(x, y, z, static_cast<mpfr_ptr>(nullptr));
    return result;
}

}  // namespace

TEST(FmaTest, RoundsOnce) {
    std::mt19937_64 rng(1);
    const auto number = [&](int spread) {
        const double m = static_cast<double>((rng() >> 11) | (u64(1) << 52));
        const double signed_m = rng() & 1 ? m : -m;
        return std::ldexp(signed_m, static_cast<int>(rng() % (2 * spread + 1)) - spread);
    };
    for (int i = 0; i < 200000; i++) {
        const double a = number(3), b = number(3);
        // The summand cancels the product, or lies near its last places, or anywhere about it.
        double c = 0;
        switch (i % 4) {
            case 0:
                c = -(a * b);
                break;
            case 1:
                c = std::ldexp(number(3), 53 - static_cast<int>(rng() % 110));
                break;
            case 2:
                c = -std::nextafter(a * b, 0);
                break;
            default:
                c = std::ldexp(1.0, static_cast<int>(rng() % 120));
        }
        ASSERT_EQ(os::fma(a, b, c), exact(a, b, c)) << std::hexfloat << a << " " << b << " " << c;
    }
    EXPECT_EQ(os::fma(1 + 0x1p-52, 1 + 0x1p-52, -(1 + 0x1p-51)), 0x1p-104);
    EXPECT_EQ(os::fma(2, 3, 4), 10);
    EXPECT_EQ(os::fma(0, 3, 4), 4);
}

TEST(FmaTest, ZerosHaveTheirSign) {
    const double zero = 0, values[] = {zero, -zero, 1.5, -1.5, 0x1p60 + 0x1p10, -(0x1p60 + 0x1p10)};
    for (const double a : values) {
        for (const double b : values) {
            for (const double c : {zero, -zero, a * b, -(a * b), 2.0}) {
                const double got = os::fma(a, b, c), want = exact(a, b, c);
                EXPECT_EQ(got, want) << a << " " << b << " " << c;
                EXPECT_EQ(std::signbit(got), std::signbit(want)) << a << " " << b << " " << c;
            }
        }
    }
}

TEST(FmaTest, LargeFactors) {
    std::mt19937_64 rng(2);
    for (int i = 0; i < 20000; i++) {
        const int e = 850 + static_cast<int>(rng() % 173);
        const double a = std::ldexp(static_cast<double>((rng() >> 11) | (u64(1) << 52)), e - 52);
        const double b = std::ldexp(static_cast<double>((rng() >> 11) | (u64(1) << 52)), -e);
        const double c = rng() & 1 ? -(a * b) : std::ldexp(static_cast<double>(rng() >> 11), -60);
        ASSERT_EQ(os::fma(a, b, c), exact(a, b, c)) << std::hexfloat << a << " " << b << " " << c;
        ASSERT_EQ(os::fma(b, -a, c), exact(b, -a, c)) << std::hexfloat << a << " " << b << " " << c;
    }
}
