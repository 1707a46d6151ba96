// Products modulo numbers below 2^48 against those by division.
#include "arith/residue/modulus48.h"

#include <gtest/gtest.h>

#include <random>

using trel::Modulus48;
using trel::u64;

namespace {

void expect_product(u64 n, u64 x, u64 y) {
    const u64 want = static_cast<u64>(static_cast<unsigned __int128>(x) * y % n);
    ASSERT_EQ(Modulus48(n).mul(x, y), want) << x << " * " << y << " mod " << n;
}

// Where a quotient is next to an integer: the numbers at the ends, and products next to multiples of n.
TEST(Modulus48Test, AtTheEnds) {
    for (u64 bit = 2; bit <= 48; bit++) {
        for (u64 n = (u64(1) << bit) - 3; n < (u64(1) << bit) + 3 && n < u64(1) << 48; n++) {
            if (n < 2) continue;
            for (const u64 x : {u64(0), u64(1), n / 2, n - 2, n - 1}) {
                for (const u64 y : {u64(0), u64(1), n / 2, n / 2 + 1, n - 2, n - 1}) {
                    if (x < n && y < n) expect_product(n, x, y);
                }
            }
        }
    }
}

TEST(Modulus48Test, NextToMultiples) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 300000; i++) {
        const u64 n = (random() >> (16 + random() % 40)) | 3;
        const u64 x = random() % n;
        if (x == 0) continue;
        expect_product(n, x, random() % n);
        // x y is a little below or above a multiple of n.
        const u64 multiple = random() % x;
        const u64 y = static_cast<u64>(static_cast<unsigned __int128>(multiple) * n / x);
        expect_product(n, x, y);
        if (y + 1 < n) expect_product(n, x, y + 1);
    }
}

}  // namespace
