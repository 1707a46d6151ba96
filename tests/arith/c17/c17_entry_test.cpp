// The way into a Code 17 transform: limbs to residues to rows of the radix-b pass, against exact arithmetic,
// for every number of rows that an operand may fill.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <tuple>

#include "arith/c17/c17_end_constants.h"
#include "arith/c17/c17_entry.h"
#include "arith/c17/c17_tables.h"
#include "base/simd/isa.h"
#include "support/scratch.h"

namespace {

using namespace trel;
using u128 = unsigned __int128;

constexpr u64 kCount = 8 * 13, kStride = kCount + 8;

u64 residue(double x, u64 p) {
    const i64 r = static_cast<i64>(x) % static_cast<i64>(p);
    return static_cast<u64>(r < 0 ? r + static_cast<i64>(p) : r);
}

class C17EntryTest : public testing::TestWithParam<std::tuple<Isa, u32, u32>> {
  protected:
    const C17EntryKernels& kernels() const { return TREL_TABLE(std::get<0>(GetParam()), c17_entry_kernels); }
};
INSTANTIATE_TEST_SUITE_P(Shapes, C17EntryTest,
                         testing::Combine(testing::ValuesIn(available_isas()),
                                          testing::Values(7, 8, 9, 10, 11), testing::Values(1, 3, 5)),
                         [](const auto& info) {
                             return std::string(isa_name(std::get<0>(info.param))) + "_a" +
                                    std::to_string(std::get<1>(info.param)) + "_b" +
                                    std::to_string(std::get<2>(info.param));
                         });

TEST_P(C17EntryTest, RowsAreSumsOfTheOperandsResidues) {
    const u32 a = std::get<1>(GetParam()), b = std::get<2>(GetParam());
    const C17SetTables& set = c17_set_tables(a, b);
    C17EndConstants constants;
    make_c17_end_constants(&constants, *set.set, 9);
    // the largest magnitude of row 0 and of the others
    const double row0 = 0.5001, others = b == 1 ? 0.5001 : b == 3 ? 1.54 : 2.76;
    std::mt19937_64 rng(a * 8 + b);
    const u64 row_limbs = (a - 1) * kCount + 64, prime_stride = b * kStride + 16;
    for (u32 used = 1; used <= b; used++) {
        for (int round = 0; round < 3; round++) {
            Scratch limbs(8 * row_limbs * used), out(8 * prime_stride * a);
            double* const in = static_cast<double*>(limbs.data());
            double* const rows = static_cast<double*>(out.data());
            for (u64 i = 0; i < row_limbs * used; i++)
                in[i] = round == 0 ? 0xffffff
                                   : static_cast<double>(rng() % 3 == 0 ? rng() % 2 * 0xffffff : rng() >> 40);
            // primes in two calls, so that not all begin at the first
            const u32 first = a / 2;
            for (u64 i = 0; i < prime_stride * a; i++) rows[i] = -0.25;
            const u64 count = round == 2 ? 8 : kCount;
            kernels().enter(&constants, set.primes, b, 0, first, in, row_limbs, used, count, rows, kStride,
                            prime_stride);
            kernels().enter(&constants, set.primes, b, first, a - first, in, row_limbs, used, count,
                            rows + first * prime_stride, kStride, prime_stride);
            EXPECT_TRUE(out.guards_intact());
            for (u32 i = 0; i < a; i++) {
                const u64 p = set.set->primes[i];
                const double size = static_cast<double>(p);
                for (u64 k = 0; k < count; k++) {
                    u64 x[5] = {};
                    for (u32 r = 0; r < used; r++) {
                        for (u32 limb = a - 1; limb-- > 0;) {
                            const double bits = in[r * row_limbs + (k / 8 * (a - 1) + limb) * 8 + k % 8];
                            x[r] = static_cast<u64>(((u128(x[r]) << 24) + static_cast<u64>(bits)) % p);
                        }
                    }
                    for (u32 s = 0; s < b; s++) {
                        u64 sum = 0;
                        for (u32 r = 0; r < used; r++) {
                            const u64 power = residue(set.primes[i].zeta[r * s % b], p);
                            sum = static_cast<u64>((u128(x[r]) * power + sum) % p);
                        }
                        const double value = rows[i * prime_stride + s * kStride + k];
                        ASSERT_EQ(value, std::rint(value));
                        ASSERT_EQ(residue(value, p), sum)
                            << "used " << used << " prime " << i << " row " << s;
                        ASSERT_LE(std::fabs(value), size * (s == 0 && used > 1 ? row0 : others) + 4);
                    }
                }
                // nothing else is written
                for (u64 k = 0; k < prime_stride; k++) {
                    if (k < b * kStride && k % kStride < count) continue;
                    ASSERT_EQ(rows[i * prime_stride + k], -0.25);
                }
            }
        }
    }
}

}  // namespace
