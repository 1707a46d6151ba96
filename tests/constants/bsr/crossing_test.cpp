// Where sizes reach a limit: the place that halving finds, with fewer looks.
#include "constants/bsr/crossing.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using trel::u64;

namespace {

template <class F>
u64 by_halving(u64 a, u64 b, double limit, F&& size) {
    while (b - a > 1) {
        const u64 m = a + (b - a) / 2;
        (size(m) < limit ? a : b) = m;
    }
    return b;
}

// Sizes as series have them, and some that lines follow badly.
double growing(int kind, u64 k) {
    const double x = static_cast<double>(k);
    switch (kind) {
        case 0:
            return x * std::log(x + 1);
        case 1:
            return 3.5 * x;
        case 2:
            return std::sqrt(x);
        case 3:
            return x < 1e6 ? x : 1e6 + 1e-3 * (x - 1e6);
        case 4:
            return x < 5e8 ? 1e-6 * x : 500 + 1e6 * (x - 5e8);
        case 5:
            return std::floor(x / 1000);
        default:
            return std::ldexp(1.0, static_cast<int>(k / 20000000));
    }
}

TEST(CrossingTest, FindsWhatHalvingFinds) {
    for (int kind = 0; kind <= 6; kind++) {
        const auto size = [kind](u64 k) { return growing(kind, k); };
        for (const auto& [a, b] : {std::pair<u64, u64>{0, 1},
                                   {0, 2},
                                   {5, 8},
                                   {0, 1000},
                                   {17, 1000000},
                                   {0, 1000000000},
                                   {999000000, 1000000000}}) {
            for (const double share : {-0.1, 0.0, 1e-9, 0.001, 0.3, 0.5, 0.77, 0.9999, 1.0, 1.1}) {
                const double limit = size(a) + share * (size(b) - size(a));
                u64 looks = 0;
                const u64 found = first_reaching<double>(a, b, limit, [&](u64 k) {
                    looks++;
                    return size(k);
                });
                EXPECT_EQ(found, by_halving(a, b, limit, size))
                    << kind << " " << a << " " << b << " " << share;
                // Three looks leave at most half, whatever the sizes are like.
                EXPECT_LE(looks, 3 * std::log2(static_cast<double>(b - a)) + 6) << kind << " " << share;
            }
        }
    }
}

TEST(CrossingTest, FewLooksForTheSizesOfSeries) {
    for (const u64 b : {u64(1000000), u64(1000000000), u64(1) << 47}) {
        u64 looks = 0;
        first_reaching<double>(b / 3, b, growing(0, b / 2), [&](u64 k) {
            looks++;
            return growing(0, k);
        });
        EXPECT_LE(looks, 12u) << b;
    }
}

TEST(CrossingTest, DoubleDoublesTellNeighboursApartFarOut) {
    const u64 far = u64(1) << 60;
    const auto size = [](u64 k) { return DoubleDouble::from_u64(k); };
    for (const u64 k : {far + 1, far + 12345, far + 99999})
        EXPECT_EQ(first_reaching<DoubleDouble>(far, far + 100000, DoubleDouble::from_u64(k), size), k);
}

}  // namespace
