// The family of independent fractions with powers of two, against its definition: terms of any sign, terms
// that are zero, in buffers of exactly the planned size, and with changed bits.
#include "constants/bsr/binary_bbp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>
#include <vector>

#include "base/errors/exceptions.h"
#include "constants/bsr/series_value.h"
#include "reference/mpz_words.h"
#include "support/changed_numbers.h"
#include "support/effort.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using BinaryBBP::Family;
using BinaryBBP::kP;
using BinaryBBP::kQ;
using kalvor_test::OneChangedNumber;
using reference::mpz_of;
using reference::mpz_of_signed;

namespace {

constexpr double kLn2 = 0.6931471805599453;

u64 scrambled(u64 k) {
    k = (k ^ (k >> 31)) * 0x9e3779b97f4a7c15;
    k = (k ^ (k >> 29)) * 0xbf58476d1ce4e5b9;
    return k ^ (k >> 32);
}

// 2^(shift - power k) P(k) / Q(k), P(k) any word with a sign, Q(k) = k c.
class FractionSeries final : public BinaryBBP::Series {
  public:
    FractionSeries(u64 terms, u64 precision, u64 power, i64 shift, u64 c, u64 zeros_in_front = 0)
        : Series({terms, precision, 2, 4, false}, {1, 2}, power),
          shift_(shift),
          c_(c),
          zeros_(zeros_in_front) {}

    // As many terms as a precision needs.
    static u64 terms_for(u64 precision, u64 power) { return (64 * precision + 70) / power + 2; }

    i64 P(u64 k) const {
        const u64 h = scrambled(k);
        return k <= zeros_ || h % 4 == 0 ? 0 : static_cast<i64>(scrambled(h));
    }
    double log_size_to(u64 k) const override {
        const double x = static_cast<double>(k);
        return ln_factorial(k) +
               x * (std::log(static_cast<double>(c_)) + kLn2 * static_cast<double>(power()));
    }
    DoubleDouble log_size_to_dd(u64 k) const override { return DoubleDouble(log_size_to(k)); }
    double log_size_Q(u64 a, u64 b) const override {
        return ln_factorial(b) - ln_factorial(a) +
               static_cast<double>(b - a) * std::log(static_cast<double>(c_)) + 1;
    }
    double log_size_P(u64 a, u64 b) const override {
        return log_size_Q(a, b) + kLn2 * (static_cast<double>((b - a - 1) * power()) + 65);
    }
    u64 zero_bits_Q(u64 a, u64 b) const override { return (b - a) * static_cast<u64>(std::countr_zero(c_)); }
    DoubleDouble log_remaining(u64 k) const override {
        const double full = 64 * kLn2 * static_cast<double>(precision());
        return DoubleDouble(std::clamp(full - kLn2 * static_cast<double>(power() * k), 0.0, full));
    }
    std::optional<double> log_scale() const override {
        return kLn2 * (64 + static_cast<double>(shift_)) - std::log(static_cast<double>(c_));
    }
    void leaf(u64, u64 b, ExactFloat& P_out, ExactFloat& Q, Word*) const override {
        const i64 n = P(b);
        P_out.clear();
        if (n != 0) {
            P_out.T[0] = n < 0 ? Word(0) - static_cast<Word>(n) : static_cast<Word>(n);
            P_out.L = 1;
            P_out.residue = P_out.computed_residue();
        }
        const u128 q = u128(b) * c_;
        Q.clear();
        Q.T[0] = static_cast<Word>(q);
        Q.T[1] = static_cast<Word>(q >> 64);
        Q.L = Q.T[1] != 0 ? 2 : 1;
        Q.residue = Q.computed_residue();
        BinaryBBP::set_power_and_sign(P_out, shift_ - static_cast<i64>(power() * b), n < 0);
    }

    struct Sum {
        mpz_class P, Q;  // P in units of 2^(shift - power b)
    };
    Sum sum(u64 a, u64 b) const {
        Sum s{0, 1};
        for (u64 k = a + 1; k <= b; k++) {
            const mpz_class q = mpz_of(k) * mpz_of(c_);
            s.P = (s.P << power()) * q + mpz_of_signed(P(k)) * s.Q;
            s.Q *= q;
        }
        return s;
    }
    i64 unit(u64 b) const { return shift_ - static_cast<i64>(power() * b); }

  private:
    // Stirling above; lgamma() writes a global of the C library, so tasks must not call it.
    static double ln_factorial(u64 k) {
        if (k < 64) {
            double sum = 0;
            for (u64 i = 2; i <= k; i++) sum += std::log(static_cast<double>(i));
            return sum;
        }
        const double x = static_cast<double>(k);
        return (x + 0.5) * std::log(x) - x + 0.918938533204672742 + 1 / (12 * x) - 1 / (360 * x * x * x);
    }

    const i64 shift_;
    const u64 c_, zeros_;
};

// In units of 2^unit, which divides it.
mpz_class value(const ExactFloat& A, i64 unit) {
    mpz_class z = reference::to_mpz(A.T, A.L);
    const i64 bits = 64 * A.exp - unit;
    if (bits >= 0) {
        z <<= static_cast<mp_bitcnt_t>(bits);
    } else {
        EXPECT_TRUE(A.L == 0 || mpz_scan1(z.get_mpz_t(), 0) >= static_cast<mp_bitcnt_t>(-bits));
        z >>= static_cast<mp_bitcnt_t>(-bits);
    }
    return A.sign ? z : mpz_class(-z);
}

struct Block {
    Block(const BinaryBBP::Series& series, u64 a, u64 b, u64 tds, trel::RunMonitor* monitor = nullptr)
        : plan(series, {a, b, series.precision(), 0}, false, true, tds),
          results(total_words(plan.capacities()) * sizeof(Word)),
          scratch(plan.needs().bytes) {
        AlignedBufferC memory = results.view();
        numbers = carve_range<ExactFloat>(memory, plan.capacities());
        BlockRun<Family>(plan).run({{thread_framework(), tds, monitor}, scratch.view(), nullptr},
                                   null_status(), numbers);
        EXPECT_TRUE(results.guards_intact() && scratch.guards_intact());
    }
    BSR_BlockB<Family> plan;
    Scratch results, scratch;
    ExactRange<Family> numbers;
};

TEST(BinaryBBPTest, ExactBlocksStayInsideTheirPlan) {
    for (const u64 power : {1, 6, 63, 64, 65, 1024}) {
        for (const u64 c : {u64(1), u64(1000003), u64(1) << 40}) {
            for (const i64 shift : {-1023, 0, 5, 1023}) {
                if (shift != 0 && c != 1) continue;
                const FractionSeries series(3000, 4000, power, shift, c);
                for (const u64 n : {1u, 2u, 3u, 7u, 8u, 9u, 100u, 101u, 1001 / kalvor_test::thinned(4),
                                    2900 / kalvor_test::thinned(4)}) {
                    if (n > 1001 && power > 64) continue;
                    for (const u64 a : {u64(0), u64(57), u64(1) << 50}) {
                        const FractionSeries::Sum want = series.sum(a, a + n);
                        for (const u64 tds : {1, 2, 7}) {
                            SCOPED_TRACE(testing::Message()
                                         << "power=" << power << " c=" << c << " shift=" << shift << " " << a
                                         << "+" << n << " tds=" << tds);
                            const Block run(series, a, a + n, tds);
                            ASSERT_EQ(value(run.numbers[kP], series.unit(a + n)), want.P);
                            ASSERT_EQ(value(run.numbers[kQ], 0), want.Q);
                            for (const ExactFloat& A : run.numbers)
                                ASSERT_EQ(A.residue, A.computed_residue());
                        }
                    }
                }
            }
        }
    }
}

// Halves of zeros only, on either side.
TEST(BinaryBBPTest, TermsThatAreZero) {
    for (const u64 zeros : {1, 2, 50, 400, 999}) {
        const FractionSeries series(1000, 800, 17, 3, 12, zeros);
        for (const u64 n : {1, 2, 3, 100, 101, 1000}) {
            for (const u64 tds : {1, 3}) {
                const FractionSeries::Sum want = series.sum(0, n);
                const Block run(series, 0, n, tds);
                ASSERT_EQ(value(run.numbers[kP], series.unit(n)), want.P) << zeros << " " << n;
                ASSERT_EQ(value(run.numbers[kQ], 0), want.Q);
            }
        }
    }
}

// Every place of the power of two in a word, and every word modulo the three places of a residue.
TEST(BinaryBBPTest, ResiduesOfEveryPowerOfTwo) {
    for (i64 bits = -400; bits <= 400; bits++) {
        for (const bool negative : {false, true}) {
            Word words[4] = {0xfedcba9876543210, 0xffffffffffffffff};
            ExactFloat A(words, 4);
            A.L = 2;
            A.residue = A.computed_residue();
            const mpz_class before = reference::to_mpz(words, 2);
            BinaryBBP::set_power_and_sign(A, bits, negative);
            EXPECT_EQ(A.residue, A.computed_residue()) << bits;
            EXPECT_EQ(value(A, bits), negative ? mpz_class(-before) : before) << bits;
        }
    }
    // The largest powers there are.
    for (const i64 bits : {i64(1023) - 1024, -(i64(1) << 61) - 5}) {
        Word words[2] = {7};
        ExactFloat A(words, 2);
        A.L = 1;
        A.residue = A.computed_residue();
        BinaryBBP::set_power_and_sign(A, bits, true);
        EXPECT_EQ(A.residue, A.computed_residue());
    }
}

// Sums in blocks of any size, exact ones and cut ones, within what the precision promises of the largest
// term.
TEST(BinaryBBPTest, FloatingPointSums) {
    for (const u64 p : {3u, 40u, 300 / kalvor_test::thinned(3)}) {
        for (const u64 power : {1, 10, 100}) {
            if (power == 1 && p >= 100) continue;
            for (const i64 shift : {-1023, 0, 700}) {
                const u64 terms = FractionSeries::terms_for(p, power);
                const FractionSeries series(terms, p, power, shift, 1000003, power == 10 ? 3 : 0);
                const FractionSeries::Sum want = series.sum(0, terms);
                for (const double nats : {1e9, 3000.0, 500.0, 60.0}) {
                    PsrPlan blocks;
                    plan_blocks(series, 0, nats, blocks);
                    for (const u64 tds : {1, 2, 7}) {
                        for (const bool all_cut : {false, true}) {
                            PsrPlan plan = blocks;
                            for (PsrBlock& block : plan.blocks) block.exact = block.exact && !all_cut;
                            SCOPED_TRACE(testing::Message() << p << " words, power=" << power << " shift="
                                                            << shift << ", " << plan.blocks.size()
                                                            << " blocks, tds=" << tds << " cut=" << all_cut);
                            const PSR_SeriesB<Family> sum(series, plan, tds);
                            Scratch lent(sum.needs().result_words * sizeof(Word)), memory(sum.needs().bytes);
                            const FloatRange<Family> got =
                                sum.run({{thread_framework(), tds}, memory.view(), nullptr}, null_status(),
                                        lent.words());
                            ASSERT_TRUE(lent.guards_intact() && memory.guards_intact());
                            // In units far below the last word, with the power of two of the sum's unit.
                            const i64 low = -static_cast<i64>(2 * p) - 60;
                            const auto at = [&](const BigFloat& A) {
                                const mpz_class z = reference::magnitude_at(A, low);
                                return A.sign ? z : mpz_class(-z);
                            };
                            const mpz_class Q = at(got[kQ]);
                            // P / Q - want 2^unit
                            mpz_class exact = want.P * Q;
                            mpz_class shown = at(got[kP]) * want.Q;
                            const i64 unit = series.unit(terms);
                            if (unit < 0) {
                                shown <<= static_cast<mp_bitcnt_t>(-unit);
                            } else {
                                exact <<= static_cast<mp_bitcnt_t>(unit);
                            }
                            mpz_class error = abs(shown - exact), limit = abs(mpz_class(Q * want.Q));
                            // Below 2^(shift + 64 + 6 - 64 p) / 1000003, with both in units of 2^unit
                            error *= 1000003;
                            const i64 bits = shift + 70 - 64 * static_cast<i64>(p) - (unit < 0 ? unit : 0);
                            if (bits >= 0) {
                                limit <<= static_cast<mp_bitcnt_t>(bits);
                            } else {
                                error <<= static_cast<mp_bitcnt_t>(-bits);
                            }
                            ASSERT_LT(error, limit);
                            for (const BigFloat& A : got)
                                ASSERT_EQ(A.residue, A.computed_residue(serial_context()));
                        }
                    }
                }
            }
        }
    }
}

// A changed bit in a number of a leaf, of a merge or of a block before its check: the range is done again; if
// it happens twice, the run ends with both differences.
TEST(BinaryBBPTest, AChangedBitIsFound) {
    const FractionSeries series(3000, 4000, 6, 0, 1000003);
    std::mt19937_64 random(31);
    const Block right(series, 0, 21, 1);
    const mpz_class P = value(right.numbers[kP], series.unit(21));
    for (const char* stage : {"piece", "range"}) {
        OneChangedNumber none(OneChangedNumber::kNever, 0, stage);
        trel::RunMonitor counting;
        counting.stages = &none;
        const Block counted(series, 0, 21, 1, &counting);
        ASSERT_GE(none.count, 4u);
        for (u64 at = 0; at < none.count; at++) {
            SCOPED_TRACE(testing::Message() << stage << " " << at << " of " << none.count);
            OneChangedNumber flip(at, random(), stage);
            trel::RunMonitor monitor;
            monitor.stages = &flip;
            const Block run(series, 0, 21, 1, &monitor);
            EXPECT_EQ(value(run.numbers[kP], series.unit(21)), P);
            EXPECT_EQ(monitor.checks.corrected, 1u);
        }
    }
    for (std::size_t i = 0; i < Family::kNumbers; i++) {
        for (const u64 bit : {0, 7, 63}) {
            Block run(series, 0, 300, 1);
            ExactFloat& A = run.numbers[i];
            A.T[A.L / 2] ^= Word(1) << bit;
            try {
                kvb_Verify_BSR(0, 300, run.numbers, trel::serial_context());
                ADD_FAILURE();
            } catch (const trel::BSRModularCheckFailedException& e) {
                EXPECT_EQ(e.message, "Modular Redundancy Check Failed");
                EXPECT_EQ(e.hashes[0] != 0, i == kP);
                EXPECT_EQ(e.hashes[1] != 0, i == kQ);
            }
        }
    }
}

}  // namespace
