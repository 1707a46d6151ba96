// Series whose terms have signs that follow no rule, terms that are zero, and sums that cancel.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

#include "base/errors/exceptions.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/bsr/series_value.h"
#include "constants/bsr/signed_terms.h"
#include "reference/mpz_words.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using CommonP2B3::Family;
using CommonP2B3::kP;
using CommonP2B3::kQ;
using CommonP2B3::kR;
using reference::mpz_of_signed;

namespace {

struct Term {
    i64 P, Q, R;
};

constexpr double kLn2 = 0.6931471805599453;

// The series of a list of terms; |R| < |Q|.
class ListSeries final : public CommonP2B3::Series {
  public:
    ListSeries(std::vector<Term> terms, u64 precision)
        : Series({terms.size(), precision, 2, 4, false}, {1, 1, 1}), list_(std::move(terms)) {
        double Q = 0, R = 0;
        Q_.push_back(0);
        R_.push_back(0);
        scale_ = -1e300;
        for (const Term& t : list_) {
            Q += size(t.Q);
            if (t.P != 0) scale_ = std::max(scale_, size(t.P) + R - Q);
            R += size(t.R);
            Q_.push_back(Q);
            R_.push_back(R);
        }
        scale_ = std::max(scale_, -64 * kLn2) + std::log(static_cast<double>(list_.size())) + 1e-6;
    }
    double log_size_to(u64 k) const override { return Q_[k]; }
    DoubleDouble log_size_to_dd(u64 k) const override { return DoubleDouble(Q_[k]); }
    // n terms of 64 bits, each below the product of all Q.
    double log_size_P(u64 a, u64 b) const override {
        return Q_[b] - Q_[a] + 64 * kLn2 + std::log(static_cast<double>(b - a)) + 1e-3;
    }
    double log_size_Q(u64 a, u64 b) const override { return Q_[b] - Q_[a] + 1e-3; }
    double log_size_R(u64 a, u64 b) const override { return R_[b] - R_[a] + 1e-3; }
    DoubleDouble log_remaining(u64 k) const override {
        const double full = 64 * kLn2 * static_cast<double>(precision());
        const double rest = full + 64 * kLn2 + R_[k] - Q_[k] - scale_;
        return DoubleDouble(std::clamp(rest, 0.0, full));
    }
    u64 zero_bits_Q(u64 a, u64 b) const override {
        u64 bits = 0;
        for (u64 k = a; k < b; k++) bits += static_cast<u64>(std::countr_zero(static_cast<u64>(list_[k].Q)));
        return bits;
    }
    std::optional<double> log_scale() const override { return scale_; }
    void leaf(u64, u64 b, ExactFloat& P, ExactFloat& Q, ExactFloat& R, bool edge, Word*,
              const trel::ParallelContext&) const override {
        const Term& t = list_[b - 1];
        set(P, t.P);
        set(Q, t.Q);
        if (!edge) set(R, t.R);
    }

    struct Sum {
        mpz_class P, Q, R;
    };
    Sum sum(u64 a, u64 b) const {
        if (b - a == 1) {
            const Term& t = list_[a];
            return {mpz_of_signed(t.P), mpz_of_signed(t.Q), mpz_of_signed(t.R)};
        }
        const u64 m = a + (b - a + 2) / 3;
        const Sum x = sum(a, m), y = sum(m, b);
        return {x.P * y.Q + x.R * y.P, x.Q * y.Q, x.R * y.R};
    }

  private:
    static double size(i64 n) { return n == 0 ? 0 : std::log(std::abs(static_cast<double>(n))) + 1e-12; }
    static void set(ExactFloat& A, i64 n) {
        A.clear();
        if (n == 0) return;
        A.T[0] = n < 0 ? Word(0) - static_cast<Word>(n) : static_cast<Word>(n);
        A.L = 1;
        A.sign = n > 0;
        A.residue = A.computed_residue();
    }

    std::vector<Term> list_;
    std::vector<double> Q_, R_;
    double scale_;
};

u64 scrambled(u64 k) {
    k = (k ^ (k >> 31)) * 0x9e3779b97f4a7c15;
    k = (k ^ (k >> 29)) * 0xbf58476d1ce4e5b9;
    return k ^ (k >> 32);
}

// Signs of P, Q and R by chance, one P in five zero.
std::vector<Term> random_terms(u64 n, u64 zeros_in_front = 0) {
    std::vector<Term> terms;
    for (u64 k = 1; k <= n; k++) {
        const u64 h = scrambled(k);
        Term t{static_cast<i64>(scrambled(h)), static_cast<i64>((h >> 20) | (u64(1) << 43)),
               static_cast<i64>((scrambled(h + 1) >> 40) + 1)};
        if (k <= zeros_in_front || h % 5 == 0) t.P = 0;
        if (h % 2 != 0) t.Q = -t.Q;
        if (h / 2 % 2 != 0) t.R = -t.R;
        terms.push_back(t);
    }
    return terms;
}

mpz_class value(const ExactFloat& A) {
    const mpz_class z = reference::shifted(reference::to_mpz(A.T, A.L), A.exp);
    return A.sign ? z : mpz_class(-z);
}

// Block results in buffers of exactly the planned sizes.
void expect_exact(const ListSeries& series, u64 a, u64 b, u64 tds, bool edge) {
    const BSR_BlockB<Family> plan(series, {a, b, series.precision(), 0}, edge, true, tds);
    Scratch results(total_words(plan.capacities()) * sizeof(Word)), scratch(plan.needs().bytes);
    AlignedBufferC memory = results.view();
    ExactRange<Family> got = carve_range<ExactFloat>(memory, plan.capacities());
    BlockRun<Family>(plan).run({{thread_framework(), tds}, scratch.view(), nullptr}, null_status(), got);
    const ListSeries::Sum want = series.sum(a, b);
    ASSERT_EQ(value(got[kP]), want.P);
    ASSERT_EQ(value(got[kQ]), want.Q);
    if (!edge) {
        ASSERT_EQ(value(got[kR]), want.R);
    }
    for (const ExactFloat& A : got) ASSERT_EQ(A.residue, A.computed_residue());
}

// Leaves of a user's series fill their numbers by it, and hand on their names.
TEST(SignedPolynomialTest, ANumberWithoutRoomIsRefused) {
    const SignedPolynomial P({-7, 0, i64(1) << 62});
    const u64 k = u64(1) << 51, words = P.words(k);
    ASSERT_EQ(words, 3u);
    Word buffer[4] = {};
    for (const char* name :
         {"SeriesHyperdescent_BSR_E()", "SeriesHypergeometric_BSR_E()", "SeriesBinaryBBP_BSR_E()"}) {
        trel::ExactFloat A(buffer, words);
        P.set(A, k, name);
        EXPECT_EQ(reference::to_mpz(A.T, A.L), mpz_class((mpz_class(1) << 164) - 7));
        A = trel::ExactFloat(buffer, words - 1);
        try {
            P.set(A, k, name);
            ADD_FAILURE() << name;
        } catch (const trel::BufferTooSmallException& e) {
            EXPECT_EQ(e.function, name);
            EXPECT_EQ(e.buffer_size, words - 1);
            EXPECT_EQ(e.required_size, words);
        }
    }
}

TEST(SignedSumTest, ExactBlocks) {
    const ListSeries series(random_terms(3000), 2000);
    for (const u64 n : {1, 2, 3, 7, 8, 9, 100, 101, 999, 1000, 1001, 3000}) {
        for (const u64 tds : {1, 2, 7}) {
            for (const bool edge : {false, true}) {
                SCOPED_TRACE(testing::Message() << n << " terms, tds=" << tds << " edge=" << edge);
                expect_exact(series, 0, n, tds, edge);
                expect_exact(series, 3000 - n, 3000, tds, edge);
                if (HasFatalFailure()) return;
            }
        }
    }
}

// Denominators that drop most of their words, beside numerators that are zero.
TEST(SignedSumTest, PowersOfTwoInQ) {
    for (const u64 zeros : {0, 1, 300}) {
        std::vector<Term> terms = random_terms(1500, zeros);
        for (Term& t : terms) t.Q &= ~((i64(1) << 38) - 1);
        const ListSeries series(terms, 700);
        for (const u64 tds : {1, 2, 7}) {
            for (const u64 n : {2, 9, 101, 600, 1500}) {
                SCOPED_TRACE(testing::Message() << n << " terms, " << zeros << " zeros, tds=" << tds);
                expect_exact(series, 0, n, tds, false);
                expect_exact(series, 1500 - n, 1500, tds, true);
                if (HasFatalFailure()) return;
            }
        }
    }
}

// The value within the bound that the run gives, and the bound as narrow as the sizes of the terms allow.
void expect_value(const ListSeries& series, const Coefficients& c, u64 tds, u64 most_bits) {
    const u64 p = series.precision();
    const SeriesEvaluator<Family> plan(std::shared_ptr<const ListSeries>(&series, [](const ListSeries*) {}),
                                       c, {p, tds}, SeriesMemory::full);
    Scratch result(round_up_8(plan.needs().result_words) * sizeof(Word)), memory(plan.needs().bytes);
    BigFloat x(result.words(), plan.needs().result_words);
    const ErrorBound error = plan.run({{thread_framework(), tds}, memory.view(), nullptr}, null_status(), x);
    ASSERT_FALSE(error.exact);

    const ListSeries::Sum sum = series.sum(0, series.terms());
    const auto wide = [](i128 n) { return mpz_of_signed(static_cast<i64>(n)); };
    mpz_class N = (c.negative_sum ? -1 : 1) * wide(c.P) * sum.P + wide(c.Q) * sum.Q;
    mpz_class D = wide(c.D) * sum.Q;
    if (c.power < 0) std::swap(N, D);
    // In units of 2^(-64 low).
    const u64 low = 2 * p + 10;
    mpz_class got = reference::magnitude_at(x, -static_cast<i64>(low));
    if (!x.sign) got = -got;
    mpz_class want = reference::shifted(1, static_cast<i64>(low)) * N / D;
    mpz_class difference = abs(got - want);
    const i64 bits = 64 * (error.limit.words + static_cast<i64>(low)) + error.limit.bits;
    ASSERT_GT(bits, 2);
    const mpz_class limit = (mpz_class(1) << static_cast<mp_bitcnt_t>(bits)) + 2;
    ASSERT_LE(difference, limit);
    ASSERT_LE(bits, static_cast<i64>(64 * (low - p) + most_bits));
    ASSERT_EQ(x.residue, x.computed_residue(serial_context()));
}

u64 bits_of_scale(const ListSeries& series) {
    return static_cast<u64>(std::max(0.0, *series.log_scale() / kLn2)) + 1;
}

TEST(SignedSumTest, FloatingPointSums) {
    for (const u64 p : {3, 10, 60, 400}) {
        for (const u64 zeros : {0, 1, 20}) {
            // Each term gains about 19 bits.
            const ListSeries series(random_terms(64 * p / 15 + 20 + zeros, zeros), p);
            for (const u64 tds : {1, 2, 7}) {
                SCOPED_TRACE(testing::Message() << p << " words, " << zeros << " zeros, tds=" << tds);
                expect_value(series, {1, 0, 1, 1, false}, tds, 80 + bits_of_scale(series));
                expect_value(series, {-3, INT64_MAX, 7, 1, false}, tds, 150 + bits_of_scale(series));
                expect_value(series, {5, INT64_MIN + 1, INT64_MAX, 1, true}, tds,
                             150 + bits_of_scale(series));
                if (HasFatalFailure()) return;
            }
        }
    }
}

// Terms 1 - 1/Q(1), 1/Q(1) - 1/Q(1)Q(2) ... with 1 taken from the first one: what is left is a product of all
// 1/Q, to so many terms, and then nothing, or all of it.
std::vector<Term> cancelling(u64 n, u64 total, bool to_zero) {
    std::vector<Term> terms;
    for (u64 k = 1; k <= total; k++) {
        const i64 Q = static_cast<i64>((u64(1) << 32) + scrambled(k) % 1000000);
        i64 P = k == 1 ? -1 : k <= n ? Q - 1 : 0;
        if (to_zero && k == n + 1) P = Q;
        terms.push_back({P, Q, 1});
    }
    return terms;
}

TEST(SignedSumTest, SumsThatCancel) {
    // To -2^(-32 n) or thereabouts, and to nothing.
    for (const u64 n : {2, 4, 10, 100, 250}) {
        for (const bool to_zero : {false, true}) {
            for (const u64 p : {60, 200}) {
                if (n > 2 * p) continue;
                const ListSeries series(cancelling(n, 2 * p + 10, to_zero), p);
                ASSERT_EQ(series.sum(0, series.terms()).P == 0, to_zero);
                for (const u64 tds : {1, 2, 7}) {
                    SCOPED_TRACE(testing::Message() << n << " terms of " << series.terms() << ", " << p
                                                    << " words, zero=" << to_zero << " tds=" << tds);
                    expect_exact(series, 0, series.terms(), tds, true);
                    expect_value(series, {1, 0, 1, 1, false}, tds, 80);
                    expect_value(series, {-1, 1, 3, -1, false}, tds, 90);
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
}

// Blocks of few terms, so that accumulators cancel as well.
TEST(SignedSumTest, FoldsThatCancel) {
    for (const bool to_zero : {false, true}) {
        for (const u64 n : {7, 60, 150}) {
            const u64 p = 100;
            const ListSeries series(cancelling(n, 2 * p + 4, to_zero), p);
            for (const double nats : {100.0, 700.0, 3000.0}) {
                PsrPlan blocks;
                plan_blocks(series, 0, nats, blocks);
                SCOPED_TRACE(testing::Message()
                             << blocks.blocks.size() << " blocks, n=" << n << " zero=" << to_zero);
                const PSR_SeriesB<Family> sum(series, blocks, 2);
                Scratch lent(sum.needs().result_words * sizeof(Word)), memory(sum.needs().bytes);
                const FloatRange<Family> got =
                    sum.run({{thread_framework(), 2}, memory.view(), nullptr}, null_status(), lent.words());
                const u64 low = 3 * p;
                const auto at = [&](const BigFloat& A) {
                    const mpz_class z = reference::magnitude_at(A, -static_cast<i64>(low));
                    return A.sign ? z : mpz_class(-z);
                };
                const ListSeries::Sum want = series.sum(0, series.terms());
                // |P / Q - want| < 2^(10 - 64 p)
                const mpz_class difference = at(got[kP]) * want.Q - want.P * at(got[kQ]);
                const mpz_class error = abs(difference) << (64 * p - 10);
                const mpz_class limit = at(got[kQ]) * want.Q;
                ASSERT_LT(error, limit);
            }
        }
    }
}

}  // namespace
