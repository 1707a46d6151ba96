#include "arith/newton/sqrt.h"

#include "arith/multiply/algorithm_table.h"
#include "arith/newton/coupled_root.h"
#include "newton_test_support.h"
#include "support/effort.h"

namespace trel {
namespace {

using namespace kalvor_test;

Workspace workspace(const SqrtFloatPlan& plan) {
    return Workspace(plan.result, plan.temporaries, plan.products.bytes, plan.tds);
}

// log2 of |T - A^(1/2)| in units of the last word that a result of p words keeps: T^2 = A + d, |d| / 2T.
double square_root_error(const BigFloat& T, const BigFloat& A, u64 p) {
    const Integer t(T), a(A);
    const i64 low = std::min(2 * T.exp, A.exp);
    const Integer difference = t.times(t).shifted_words(2 * T.exp - low).minus(a.shifted_words(A.exp - low));
    return difference.log2() - 1 - t.log2() + 64.0 * static_cast<double>(low - T.exp - last_kept(T, p));
}

// Four units of the p-th word, 64 bits above the last: A^(-1/2) is right to p words, and where its top word
// is small that of the root is large.
constexpr double kErrorBits = 66;

void expect_root(const SqrtFloatPlan& plan, const BigFloat& A, u64 p, const std::string& what) {
    Workspace w = workspace(plan);
    SqrtFloat_BigFloatR::run(plan, w.context, null_status(), w.T, A, p, w.buffer());
    ASSERT_TRUE(w.intact()) << what;
    ASSERT_GT(w.T.L, 0u) << what;
    ASSERT_LE(w.T.L, p + 2) << what;
    ASSERT_NE(w.T.T[w.T.L - 1], 0u) << what;
    ASSERT_TRUE(w.T.sign) << what;
    ASSERT_LE(square_root_error(w.T, A, p), kErrorBits) << what;
}

void expect_all_shapes(u64 p, u64 tds, std::mt19937_64& rng) {
    const SqrtFloatPlan plan = SqrtFloatPlan::make(p, tds);
    for (u64 i = 0; i < static_cast<u64>(Shape::count); i++) {
        const u64 n = operand_length(p, rng);
        const Number A(make_words(shape_of(i), n, rng), static_cast<i64>(rng() % 9) - 4);
        expect_root(plan, A.value, p,
                    "p=" + std::to_string(p) + " shape=" + std::to_string(i) + " n=" + std::to_string(n));
        if (::testing::Test::HasFatalFailure()) return;
    }
}

TEST(SqrtTest, AllShapesAtAllPrecisions) {
    std::mt19937_64 rng(141);
    for (u64 p = 1; p <= 300; p += thinned(5)) {
        expect_all_shapes(p, 1, rng);
        if (HasFatalFailure()) return;
    }
}

TEST(SqrtTest, AroundTheCoupledLevels) {
    std::mt19937_64 rng(142);
    const u64 first = newton::kCoupledPrecision;
    for (u64 base : {first, 2 * first - 2, 4 * first - 6})
        for (u64 p = base - 2; p < base + 4; p += thinned(3))
            for (u64 tds : {1, 2}) {
                expect_all_shapes(p, tds, rng);
                if (HasFatalFailure()) return;
            }
}

TEST(SlowSqrtTest, LargePrecisions) {
    std::mt19937_64 rng(143);
    for (u64 p : {9999, 65536, 100000}) expect_all_shapes(p, 2, rng);
}

// A square's root is exact to the last words, at every distance of its own last word from the precision's.
TEST(SqrtTest, Squares) {
    std::mt19937_64 rng(144);
    for (const u64 p : {5, 30, 2600})
        for (const u64 n : {u64(1), p / 2, p / 2 + 1, p / 2 + 2, p}) {
            const Number r(make_words(Shape::random, n, rng));
            GuardedWords words(2 * n + 6);
            BigFloat square(words.get(), words.size());
            Workspace room(SqrtFloatPlan::make(2 * n + 4, 1).needs());
            square.set_sqr(2 * n + 2, room.context, r.value);
            expect_root(SqrtFloatPlan::make(p, 1), square, p, std::to_string(p) + " " + std::to_string(n));
        }
}

// Plans serve smaller precisions, with coupled levels up to the top, below plain ones, or none.
TEST(SqrtTest, PlansCoverSmallerPrecisions) {
    std::mt19937_64 rng(145);
    const u64 first = newton::kCoupledPrecision;
    for (const u64 last : {u64(0), first, 2 * first + 11, u64(1) << 40}) {
        const newton::CoupledRange range{first, last};
        for (const u64 planned : {first - 1, first, 2 * first, 2 * first + 12, 4 * first + 30}) {
            const SqrtFloatPlan plan = SqrtFloatPlan::make(planned, 1, range);
            for (const u64 p :
                 {u64(3), u64(100), first - 1, first, 2 * first - 3, 2 * first + 12, 4 * first + 30}) {
                if (p > planned) continue;
                const Number A(make_words(shape_of(rng()), operand_length(p, rng), rng));
                expect_root(plan, A.value, p,
                            std::to_string(last) + " " + std::to_string(planned) + " " + std::to_string(p));
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST(SqrtTest, TaskCountsGiveTheSameWords) {
    std::mt19937_64 rng(146);
    for (u64 p : {9, 100, 3000}) {
        const Number A(make_words(Shape::random, p + 2, rng));
        std::vector<Word> first;
        for (u64 tds : {1, 2, 7}) {
            const SqrtFloatPlan plan = SqrtFloatPlan::make(p, tds);
            Workspace w = workspace(plan);
            SqrtFloat_BigFloatR::run(plan, w.context, null_status(), w.T, A.value, p, w.buffer());
            const std::vector<Word> words(w.T.T, w.T.T + w.T.L);
            if (first.empty()) first = words;
            EXPECT_EQ(words, first) << "p=" << p << " tds=" << tds;
        }
    }
}

TEST(SqrtTest, Refusals) {
    const u64 p = newton::kCoupledPrecision;
    const SqrtFloatPlan plan = SqrtFloatPlan::make(p, 2);
    Workspace w = workspace(plan);
    const Number zero({}), three({3}), negative({3}, 0, false);
    const auto run = [&](const Number& A, u64 precision, u64 tds) {
        return thrown([&] {
            SqrtFloat_BigFloatR::run(plan, w.context.with_tds(tds), null_status(), w.T, A.value, precision,
                                     w.buffer());
        });
    };
    for (const u64 precision : {u64(20), p}) {
        EXPECT_EQ(run(three, precision, 2), "");
        EXPECT_EQ(run(zero, precision, 1),
                  "ArithmeticException InvsqrtFloat_BigFloatR_E::run() Divide by zero.");
        EXPECT_EQ(run(negative, precision, 1),
                  "ArithmeticException InvsqrtFloat_BigFloatR_E::run() Square root of negative number.");
    }
    EXPECT_EQ(run(three, p + 1, 2),
              "InvalidParametersException SqrtFloat_BigFloatR::run() p is larger than plan.");
    EXPECT_EQ(run(three, p, 3),
              "InvalidParametersException SqrtFloat_BigFloatR::run() tds is larger than plan.");
    BigFloat small(w.result.get(), p + 3);
    EXPECT_THROW(SqrtFloat_BigFloatR::run(plan, w.context, null_status(), small, three.value, p, w.buffer()),
                 BufferTooSmallException);
}

}  // namespace
}  // namespace trel
