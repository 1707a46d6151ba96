#include "digits/bbp/bbp_formulas.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "digits/bbp/bbp_kernels.h"
#include "digits/bbp/summable_range.h"
#include "reference/bbp_reference.h"

namespace kalvor::BBPv2 {
namespace {

using trel::i64;
using trel::u64;

// A sub-sum table is right when its sum is Pi: compared with the definition of the formula in integers.
TEST(BbpFormulasTest, SubSumsMakePi) {
    const std::string pi = "243F6A8885A308D313198A2E03707344A4093822299F31D0082EFA98EC4E6C89452821E638D01377";
    for (u64 number = 0; number < kFormulas; number++) {
        mpz_class total;
        for (const SubSum& s : formula(number).sub_sums) {
            const mpz_class part = reference::bbp_sum(s, 0, 100, 400);
            total += s.negative ? mpz_class(-part) : part;
        }
        mpz_fdiv_r_2exp(total.get_mpz_t(), total.get_mpz_t(), 400);
        EXPECT_EQ(reference::hexadecimal_of(total, 400).substr(0, pi.size()), pi) << number;
    }
    EXPECT_EQ(formula(kOriginalBbp).sub_sums.size(), 4u);
    EXPECT_EQ(formula(kBellardBbp).sub_sums.size(), 14u);
}

TEST(BbpFormulasTest, Figures) {
    Figures f = figures_of(kOriginalBbp, 0, 8);
    EXPECT_EQ(f.terms, 24u);
    EXPECT_EQ(f.largest_divisor, 194u);
    EXPECT_EQ(f.working_digits, 24u);
    f = figures_of(kBellardBbp, 1000000000, 32);
    EXPECT_EQ(f.terms, 200000010u);
    EXPECT_EQ(f.largest_divisor, (5 * 200000009ull + 5) * 4 + 2);
    // {digits, words, limbs}
    const u64 rows[][3] = {{8, 3, 2}, {32, 6, 4}, {33, 7, 5}, {100, 15, 10}, {1048576, 131074, 87383}};
    for (const auto& row : rows) {
        for (u64 number = 0; number < kFormulas; number++) {
            f = figures_of(number, 77, row[0]);
            EXPECT_EQ(f.precision, row[1]);
            EXPECT_EQ(f.limbs, row[2]);
        }
    }
    try {
        figures_of(2, 0, 8);
        FAIL();
    } catch (const trel::InvalidParametersException& e) {
        EXPECT_EQ(e.message, "Invalid Algorithm");
        EXPECT_EQ(e.function, "BBPSession::update_settings()");
    }
}

// offset + digits + 16 up to which a formula can start, by the highest mode.
TEST(BbpFormulasTest, ReachOfTheModes) {
    const struct {
        u64 limit, original, bellard;
    } rows[] = {{kBbpLimitA, 70368744177663, 140737488355324},
                {kBbpLimitB, 281474976710655, 562949953421309},
                {kBbpLimitC, 288230376151711743, 576460752303423484}};
    for (const auto& row : rows) {
        for (u64 number = 0; number < kFormulas; number++) {
            const u64 reach = number == kOriginalBbp ? row.original : row.bellard;
            EXPECT_LE(figures_of(number, reach - 24, 8).largest_divisor, row.limit);
            EXPECT_GT(figures_of(number, reach - 23, 8).largest_divisor, row.limit);
        }
    }
    // What may start has a mode for every term of every sub-sum.
    for (u64 mode = 0; mode < kModes; mode++) {
        Modes modes{{false, false, false}};
        modes.enabled[mode] = true;
        for (u64 number = 0; number < kFormulas; number++) {
            const u64 reach = number == kOriginalBbp ? rows[mode].original : rows[mode].bellard;
            for (u64 back = 24; back < 34; back++) {
                const u64 terms = figures_of(number, reach - back, 8).terms;
                for (const SubSum& s : formula(number).sub_sums) {
                    std::vector<RangePiece> pieces;
                    ASSERT_NO_THROW(pieces = SummableRange(modes, s, terms - 5, terms))
                        << number << " " << s.a << "k + " << s.b;
                    ASSERT_EQ(pieces.back().end, terms);
                    EXPECT_LE(s.divisor(terms - 1), rows[mode].limit);
                }
            }
        }
    }
    // The largest offset that is accepted never starts, and its exponents fit.
    EXPECT_GT(figures_of(kOriginalBbp, kMaxOffset, 8).largest_divisor, kBbpLimitC);
    EXPECT_EQ(at_offset(formula(kOriginalBbp).sub_sums[0], kMaxOffset).e,
              static_cast<i64>(4 * kMaxOffset + 2));
}

TEST(BbpFormulasTest, TailBegins) {
    for (const i64 c : {-4, -20}) {
        for (i64 e = -50; e < 200; e++) {
            const SubSum s{8, 1, c, e, false};
            const u64 k = s.tail_begin();
            EXPECT_LT(s.exponent(k), 1);
            if (k > 0) {
                EXPECT_GE(s.exponent(k - 1), 1);
            }
        }
    }
}

class SummableRangeTest : public testing::Test {
  protected:
    // One admissible k at each limit is left to the next mode, if there is one.
    const SubSum s_{8, 5, -4, 0, false};
    const u64 end_a_ = (kBbpLimitA - 5) / 8, end_b_ = (kBbpLimitB - 5) / 8, end_c_ = (kBbpLimitC - 5) / 8;
};

TEST_F(SummableRangeTest, SplitsAtTheLimits) {
    using Pieces = std::vector<RangePiece>;
    EXPECT_EQ(SummableRange({}, s_, 0, 10), (Pieces{{Mode::a, 0, 10}}));
    EXPECT_EQ(SummableRange({}, s_, 7, 7), Pieces{});
    EXPECT_EQ(SummableRange({}, s_, 0, end_c_),
              (Pieces{{Mode::a, 0, end_a_}, {Mode::b, end_a_, end_b_}, {Mode::c, end_b_, end_c_}}));
    EXPECT_EQ(SummableRange({}, s_, end_a_ - 1, end_a_ + 1),
              (Pieces{{Mode::a, end_a_ - 1, end_a_}, {Mode::b, end_a_, end_a_ + 1}}));
    EXPECT_EQ(SummableRange({{false, true, true}}, s_, 3, end_b_ + 1),
              (Pieces{{Mode::b, 3, end_b_}, {Mode::c, end_b_, end_b_ + 1}}));
    EXPECT_EQ(SummableRange({{true, false, true}}, s_, 3, end_b_),
              (Pieces{{Mode::a, 3, end_a_}, {Mode::c, end_a_, end_b_}}));
    for (const RangePiece& piece : SummableRange({}, s_, 0, end_c_)) {
        EXPECT_LE(s_.divisor(piece.end - 1), mode_row(piece.mode).limit);
    }
}

TEST_F(SummableRangeTest, Refuses) {
    const auto message = [&](const Modes& modes, u64 k0, u64 k1) {
        try {
            SummableRange(modes, s_, k0, k1);
        } catch (const trel::InvalidParametersException& e) {
            EXPECT_EQ(e.function, "BBPv2::SummableRange()");
            return e.message;
        }
        return std::string("none");
    };
    EXPECT_EQ(message({{false, false, false}}, 0, 10), "No modes enabled.");
    EXPECT_EQ(message({{true, false, false}}, 5, end_a_ + 2),
              "No mode is able to handle this range.\n[5, " + std::to_string(end_a_ + 2) + ")");
    EXPECT_EQ(message({{true, false, false}}, 5, end_a_ + 1), "none");
    EXPECT_EQ(message({}, end_c_ + 1, end_c_ + 2).substr(0, 37), "No mode is able to handle this range.");
    EXPECT_EQ(message({}, end_c_ - 1, end_c_ + 1), "none");
}

TEST(BbpModesTest, TextsAndLimits) {
    EXPECT_EQ(Modes{}.text(), "A, B, C");
    EXPECT_EQ((Modes{{true, false, true}}).text(), "A, C");
    EXPECT_EQ((Modes{{false, false, false}}).text(), "");
    EXPECT_EQ(Modes{}.limit(), kBbpLimitC);
    EXPECT_EQ((Modes{{true, true, false}}).limit(), kBbpLimitB);
    EXPECT_EQ((Modes{{true, false, false}}).limit(), kBbpLimitA);
    EXPECT_EQ((Modes{{false, false, false}}).limit(), 0u);
}

}  // namespace
}  // namespace kalvor::BBPv2
