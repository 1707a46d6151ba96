// The kernels against big integers: every residue of the power stage, every bit of the limbs.
#include "digits/bbp/bbp_kernels.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <random>
#include <vector>

#include "reference/bbp_reference.h"
#include "support/effort.h"

namespace kalvor {
namespace {

using reference::bbp_power;
using reference::mpz_of;
using reference::power_of_two;
using trel::i64;
using trel::u64;

// Up to here squares of residues fit into a double, and no residue is brought below m by the sign.
constexpr u64 kShortSquarings = 90000000;
// Mode B doubles before it squares up to here, mode C has squarings of one step.
constexpr u64 kEarlyDoublings = (u64(1) << 50) - 1;
constexpr u64 kOneStep = (u64(1) << 30) - 1;

class BbpKernelsTest : public testing::TestWithParam<trel::Isa> {
  protected:
    const BbpKernels& kernels() { return bbp_kernels(GetParam()); }

    // r of every lane, exact: doubles hold integers here.
    void expect_powers(const BbpTile& tile, const BbpTerms& terms, double bound) {
        for (u64 i = 0; i < terms.n; i++) {
            const u64 m = terms.divisor + i * terms.divisor_step;
            const u64 x = terms.exponent - i * terms.exponent_step;
            ASSERT_EQ(tile.m[i], static_cast<double>(m));
            const double most = m <= kShortSquarings ? std::max(bound, 1 + 0x1p-24) : bound;
            ASSERT_LE(std::abs(tile.r[i]), most * tile.m[i]) << "2^" << x << " mod " << m;
            const mpz_class want = bbp_power(x, m);
            const mpz_class got = mpz_class(tile.r[i]) - want;
            ASSERT_TRUE(mpz_divisible_p(got.get_mpz_t(), mpz_of(m).get_mpz_t()))
                << "2^" << x << " mod " << m << " lane " << i;
        }
        for (u64 i = terms.n; i < (terms.n + kBbpGroup - 1) / kBbpGroup * kBbpGroup; i++) {
            ASSERT_EQ(tile.r[i], 0) << "lane " << i;
        }
    }
    void expect_powers(const BbpTileC& tile, const BbpTerms& terms) {
        for (u64 i = 0; i < terms.n; i++) {
            const u64 m = terms.divisor + i * terms.divisor_step;
            const u64 x = terms.exponent - i * terms.exponent_step;
            ASSERT_EQ(tile.m[i], m);
            ASSERT_LT(tile.r[i], 2 * m) << "2^" << x << " mod " << m;
            ASSERT_EQ(tile.r[i] % m, reference::u64_of(bbp_power(x, m)))
                << "2^" << x << " mod " << m << " lane " << i;
        }
        for (u64 i = terms.n; i < (terms.n + kBbpGroup - 1) / kBbpGroup * kBbpGroup; i++) {
            ASSERT_EQ(tile.r[i], 0u) << "lane " << i;
        }
    }
    std::unique_ptr<BbpTile> tile_ = std::make_unique<BbpTile>();
    std::unique_ptr<BbpTileC> tile_c_ = std::make_unique<BbpTileC>();
};

INSTANTIATE_TEST_SUITE_P(Levels, BbpKernelsTest, testing::ValuesIn(trel::available_isas()),
                         [](const auto& info) { return trel::isa_name(info.param); });

// Terms whose divisors stay within the limit and whose exponents stay at 1 and above.
BbpTerms random_terms(std::mt19937_64& rng, u64 limit, u64 max_exponent_bits) {
    BbpTerms t;
    t.n = 1 + rng() % 200;
    const bool long_step = rng() % 2;
    t.divisor_step = std::array<u64, 4>{2, 4, 8, 20}[rng() % 4];
    t.exponent_step = long_step ? 20 : 4;
    const u64 spread = t.divisor_step * t.n;
    switch (rng() % 3) {
        case 0:  // as large as they may be
            t.divisor = limit - spread - rng() % 100;
            break;
        case 1:
            t.divisor = 3 + (rng() >> (rng() % 64)) % (limit - spread - 3);
            break;
        default:
            t.divisor = 3 + rng() % 30;
    }
    t.divisor |= 1;
    const u64 exponent = rng() >> (64 - max_exponent_bits) >> (rng() % max_exponent_bits);
    t.exponent = exponent + t.exponent_step * t.n + rng() % 3 + 1 - (rng() % 4 == 0 ? t.exponent_step : 0);
    return t;
}

TEST_P(BbpKernelsTest, PowersOfModeA) {
    EXPECT_STREQ(kernels().isa, trel::isa_name(GetParam()));
    std::mt19937_64 rng(11);
    for (u64 i = 0; i < 3000 / kalvor_test::thinned(10); i++) {
        const u64 limit = i % 4 == 0 ? kShortSquarings : i % 4 == 1 ? kShortSquarings + 1000000 : kBbpLimitA;
        const BbpTerms terms = random_terms(rng, limit, 53);
        kernels().power_a(*tile_, terms);
        ASSERT_NO_FATAL_FAILURE(expect_powers(*tile_, terms, 2)) << "i " << i;
    }
}

TEST_P(BbpKernelsTest, PowersOfModeB) {
    std::mt19937_64 rng(12);
    for (u64 i = 0; i < 3000 / kalvor_test::thinned(10); i++) {
        // 2000 more: a tile begins with the one form and ends with the other.
        const u64 limit =
            std::array<u64, 6>{kShortSquarings,        kShortSquarings + 1000000, kEarlyDoublings,
                               kEarlyDoublings + 2000, kEarlyDoublings + 9000,    kBbpLimitB}[i % 6];
        const BbpTerms terms = random_terms(rng, limit, 55);
        kernels().power_b(*tile_, terms);
        ASSERT_NO_FATAL_FAILURE(expect_powers(*tile_, terms, 1)) << "i " << i;
    }
}

// With small divisors mode B is as fast as mode A, because it does the same: residues are equal, sign and
// all.
TEST_P(BbpKernelsTest, ModeBTakesTheShortSquarings) {
    std::mt19937_64 rng(16);
    const auto tile_b = std::make_unique<BbpTile>();
    for (u64 i = 0; i < 100; i++) {
        // Vectors behind the last term count as well.
        BbpTerms terms = random_terms(rng, kShortSquarings - 20 * kBbpTile, 53);
        kernels().power_a(*tile_, terms);
        kernels().power_b(*tile_b, terms);
        for (u64 t = 0; t < terms.n; t++) ASSERT_EQ(tile_->r[t], tile_b->r[t]) << "i " << i << " term " << t;
    }
}

TEST_P(BbpKernelsTest, PowersOfModeC) {
    std::mt19937_64 rng(13);
    for (u64 i = 0; i < 3000 / kalvor_test::thinned(10); i++) {
        const u64 limit = std::array<u64, 4>{kOneStep, kOneStep + 2000, kOneStep + 9000, kBbpLimitC}[i % 4];
        const BbpTerms terms = random_terms(rng, limit, 61);
        kernels().power_c(*tile_c_, terms);
        ASSERT_NO_FATAL_FAILURE(expect_powers(*tile_c_, terms)) << "i " << i;
    }
}

// Every exponent from 1 on, so that every number of leading bits and of squarings comes, in every lane.
TEST_P(BbpKernelsTest, SmallExponents) {
    for (const u64 divisor : {3ull, 5ull, 7ull, 31ull, 63ull, 127ull, 255ull, 8191ull, 8193ull, 1048575ull}) {
        for (u64 x = 1; x < 300; x++) {
            const BbpTerms terms{(x - 1) / 4 + 1, divisor, 2, x, 4};
            kernels().power_a(*tile_, terms);
            ASSERT_NO_FATAL_FAILURE(expect_powers(*tile_, terms, 2));
            kernels().power_b(*tile_, terms);
            ASSERT_NO_FATAL_FAILURE(expect_powers(*tile_, terms, 1));
            kernels().power_c(*tile_c_, terms);
            ASSERT_NO_FATAL_FAILURE(expect_powers(*tile_c_, terms));
        }
    }
}

// Limbs of any residue that the power stage may leave.
template <class Tile>
mpz_class sum_of_limbs(const BbpKernels& kernels, Tile& tile, u64 n, u64 n_limbs, u64 n_block) {
    // One row more on each side that must not change.
    std::vector<u64> sums(8 * (n_limbs + 2), 77);
    std::fill(sums.begin() + 8, sums.end() - 8, 0);
    for (u64 j = 0; j < n_limbs; j += n_block) {
        const u64 count = std::min(n_block, n_limbs - j);
        if constexpr (std::is_same_v<Tile, BbpTile>) {
            kernels.limbs(&sums[8 + 8 * j], count, tile, n, j + count == n_limbs);
        } else {
            kernels.limbs_c(&sums[8 + 8 * j], count, tile, n, j + count == n_limbs);
        }
    }
    for (u64 i = 0; i < 8; i++) EXPECT_TRUE(sums[i] == 77 && sums[sums.size() - 1 - i] == 77);
    mpz_class total;
    for (u64 j = 0; j < n_limbs; j++) {
        total *= power_of_two(48);
        for (u64 lane = 0; lane < 8; lane++) {
            total += reference::mpz_of_signed(static_cast<i64>(sums[8 + 8 * j + lane]));
        }
    }
    return total;
}

mpz_class floor_quotient(const mpz_class& r, u64 n_limbs, u64 m) {
    const mpz_class numerator = r * power_of_two(48 * n_limbs);
    mpz_class q;
    mpz_fdiv_q(q.get_mpz_t(), numerator.get_mpz_t(), mpz_of(m).get_mpz_t());
    return q;
}

TEST_P(BbpKernelsTest, LimbsOfModesAAndB) {
    std::mt19937_64 rng(14);
    for (u64 i = 0; i < 1500 / kalvor_test::thinned(10); i++) {
        const u64 n = 1 + rng() % 300;
        const u64 n_limbs = 1 + rng() % 12;
        std::fill_n(tile_->r, kBbpTile, 0);
        std::fill_n(tile_->m, kBbpTile, 3);
        mpz_class want;
        for (u64 t = 0; t < n; t++) {
            const u64 limit = i % 2 ? kBbpLimitA : kBbpLimitB;
            const u64 m = (rng() % 3 ? limit - rng() % 1000 : 3 + (rng() >> rng() % 64) % (limit - 3)) | 1;
            // |r| < 2 m with mode A's divisors, <= m with mode B's; not a multiple of m, as a power of two.
            const u64 bound = i % 2 ? 2 * m : m;
            u64 r = rng() % 4 == 0 ? bound - 1 - rng() % 2 : 1 + rng() % (bound - 1);
            if (r % m == 0) r--;
            tile_->m[t] = static_cast<double>(m);
            tile_->r[t] = rng() % 2 ? static_cast<double>(r) : -static_cast<double>(r);
            want += floor_quotient(mpz_class(tile_->r[t]), n_limbs, m);
        }
        for (u64 t = 0; t < kBbpTile; t++) tile_->inverse[t] = 1 / tile_->m[t];
        ASSERT_EQ(sum_of_limbs(kernels(), *tile_, n, n_limbs, 1 + rng() % n_limbs).get_str(16),
                  want.get_str(16))
            << "i " << i;
    }
}

TEST_P(BbpKernelsTest, LimbsOfModeC) {
    std::mt19937_64 rng(15);
    for (u64 i = 0; i < 1500 / kalvor_test::thinned(10); i++) {
        const u64 n = 1 + rng() % 300;
        const u64 n_limbs = 1 + rng() % 12;
        std::fill_n(tile_c_->r, kBbpTile, 0);
        std::fill_n(tile_c_->m, kBbpTile, 3);
        mpz_class want;
        for (u64 t = 0; t < n; t++) {
            // All of a flight below 2^30, all but a few, or any.
            const u64 limit = i % 3 == 0 || (i % 3 == 1 && rng() % 100 != 0) ? kOneStep : kBbpLimitC;
            const u64 m = (rng() % 3 ? limit - rng() % 1000 : 3 + (rng() >> rng() % 64) % (limit - 3)) | 1;
            u64 r = rng() % 4 == 0 ? 2 * m - 1 - rng() % 2 : 1 + rng() % (2 * m - 1);
            if (r % m == 0) r--;
            tile_c_->m[t] = m;
            tile_c_->r[t] = r;
            want += floor_quotient(mpz_of(r), n_limbs, m);
        }
        for (u64 t = 0; t < kBbpTile; t++) tile_c_->inverse[t] = 1 / static_cast<double>(tile_c_->m[t]);
        ASSERT_EQ(sum_of_limbs(kernels(), *tile_c_, n, n_limbs, 1 + rng() % n_limbs).get_str(16),
                  want.get_str(16))
            << "i " << i;
    }
}

}  // namespace
}  // namespace kalvor
