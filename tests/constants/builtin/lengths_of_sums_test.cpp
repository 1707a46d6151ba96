// How many terms the sums of the constants have, against a model of 400 bits: area cotangents, arcsines, the
// sums of Brent and McMillan. (Rows of the table have their own test, Huvent's series too.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "constants/bsr/brent_mcmillan.h"
#include "constants/builtin/arccoth.h"
#include "constants/builtin/arcsinlemn.h"
#include "constants/builtin/euler_gamma.h"
#include "constants/builtin/gamma_c_series.h"
#include "reference/real_400.h"

using namespace kalvor;
using reference::bits;
using reference::precisions;
using reference::Real;
using trel::u64;
using trel::Word;

namespace {

// |n - (p 64 ln 2 / gain + 1.5)| <= 1/2; halves are met where the gain is a multiple of ln 2.
void expect_rounded(u64 n, u64 p, const Real& gain) {
    const Real x = bits(p) / gain + Real(1.5);
    const Real limit = Real(0.5) + Real(1e-25);
    EXPECT_TRUE(Real::of(n) - x < limit && x - Real::of(n) < limit) << n << " " << number(x) << " p=" << p;
}

Real factorial(u64 n) {
    return ln_gamma(Real::of(n + 1));
}

TEST(LengthsOfSumsTest, AreaCotangents) {
    for (const Word m : {Word(2), Word(3), Word(26), Word(251), Word(8749), Word(4294967295)}) {
        const ArcCothArgument argument(m);
        const Real ln_m = ln(Real::of(m)), gain = Real(2) * ln_m;
        for (const u64 p : precisions()) {
            const u64 n = ArcCothSeries::term_count(argument, p);
            expect_rounded(n, p, gain);
            // The first omitted term, 1 / ((2k + 1) m^2k), against a sum of more than 1.
            const Real k = Real::of(n + 1);
            EXPECT_TRUE(bits(p) < ln(Real(2) * k + Real(1)) + k * gain) << m << " p=" << p;
        }
    }
}

TEST(LengthsOfSumsTest, Arcsines) {
    for (const auto& [x, y] : {std::pair<Word, Word>{1, 2}, {2, 3}, {3, 4}, {7, 23}, {7, 137}, {1, 65535}}) {
        const ArcSinlemnArgument argument(x, y);
        const Real gain = Real(4) * (ln(Real::of(y)) - ln(Real::of(x)));
        for (const u64 p : precisions()) {
            const u64 n = ArcSinlemnSeries::term_count(argument, p);
            expect_rounded(n, p, gain);
            const Real k = Real::of(n + 1);
            const Real omitted = ln_gamma(k + Real(0.5)) - ln_gamma(Real(0.5)) - ln_gamma(k + Real(1)) -
                                 ln(Real(4) * k + Real(1)) - k * gain;
            EXPECT_TRUE(bits(p) + omitted < Real(0)) << x << "/" << y << " p=" << p;
        }
    }
}

// N - 2 is the first index whose term has fallen by 64 p ln 2 + 1 from the largest, to what Stirling's
// formula is off, a twelfth of the inverse of each factorial's argument.
TEST(LengthsOfSumsTest, BrentMcMillan) {
    for (const u64 p : precisions()) {
        const u64 k = EulerGamma::parameter_for(p);
        for (const u64 m : {k - 1, k}) {
            const u64 n = u64(1) << m, N = BinarySplitting::BrentMcMillanAB::Series::term_count(m, p);
            const auto size = [&](u64 x) {
                return Real(2) * (Real::of(x) * Real::of(m) * Real::ln2() - factorial(x));
            };
            const Real threshold = size(n) - bits(p) - Real(1);
            const Real off(1.0 / (3 * std::ldexp(1.0, static_cast<int>(m))));
            ASSERT_TRUE(size(N - 2) < threshold + off) << "m=" << m << " p=" << p;
            ASSERT_TRUE(threshold - off < size(N - 3)) << "m=" << m << " p=" << p;
            EXPECT_TRUE(size(N + 1) + bits(p) < size(n)) << "m=" << m << " p=" << p;
        }
    }
}

TEST(LengthsOfSumsTest, GammaC) {
    for (const u64 p : precisions()) {
        const u64 least = EulerGamma::parameter_for(p) - 1;
        for (const u64 m : {least, least - 1, std::min<u64>(least + 3, 50)}) {
            const u64 most = u64(2) << m, N = GammaCSeries::term_count(m, p);
            const auto size = [&](u64 j) {
                return Real(3) * factorial(2 * j) - Real(4) * factorial(j) -
                       Real::of(2 * j) * Real::of(m + 4) * Real::ln2();
            };
            const Real threshold = Real(0) - bits(p) - Real(1);
            const Real off(1.0 / static_cast<double>(N));
            ASSERT_LE(N, most);
            // The first that is small enough comes two terms before the end, if there is one.
            EXPECT_TRUE(threshold - off < size(N - 3)) << "m=" << m << " p=" << p;
            if (N == most) continue;
            ASSERT_TRUE(size(N - 2) < threshold + off) << "m=" << m << " p=" << p;
            EXPECT_TRUE(size(N + 1) + bits(p) < Real(0)) << "m=" << m << " p=" << p;
        }
    }
}

}  // namespace
