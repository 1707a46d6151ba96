#include "arith/newton/invsqrt.h"

#include <mpfr.h>

#include "arith/kernels/word_array.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"
#include "arith/newton/coupled_root.h"
#include "arith/newton/steps.h"
#include "newton_test_support.h"
#include "support/effort.h"

namespace trel {
namespace {

using namespace kalvor_test;

Workspace workspace(const InvsqrtFloatPlan& plan) {
    return Workspace(plan.result, plan.temporaries, plan.products.bytes, plan.tds);
}

void expect_invsqrt(const BigFloat& A, u64 p, u64 tds, Status& status, const std::string& what) {
    const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(p, tds);
    Workspace w = workspace(plan);
    InvsqrtFloat_BigFloatR::run(plan, w.context, status, w.T, A, p, w.buffer());
    ASSERT_TRUE(w.intact()) << what;
    ASSERT_GT(w.T.L, 0u) << what;
    ASSERT_LE(w.T.L, p + 3) << what;
    ASSERT_NE(w.T.T[w.T.L - 1], 0u) << what;
    ASSERT_TRUE(w.T.sign) << what;
    ASSERT_LE(root_error(w.T, A, 2, p), error_bits(p)) << what;
}

void expect_all_shapes(u64 p, u64 tds, std::mt19937_64& rng, Status& status) {
    for (u64 i = 0; i < static_cast<u64>(Shape::count); i++) {
        const u64 n = operand_length(p, rng);
        const Number A(make_words(shape_of(i), n, rng), static_cast<i64>(rng() % 9) - 4);
        expect_invsqrt(A.value, p, tds, status,
                       "p=" + std::to_string(p) + " shape=" + std::to_string(i) + " n=" + std::to_string(n));
        if (::testing::Test::HasFatalFailure()) return;
    }
}

TEST(InvsqrtTest, AllShapesAtAllPrecisions) {
    std::mt19937_64 rng(41);
    RecordingStatus status;
    for (u64 p = 0; p <= 300; p += kalvor_test::thinned(5)) {
        expect_all_shapes(p, 1, rng, status);
        if (HasFatalFailure()) return;
    }
    EXPECT_EQ(status.depth, 0u);
    EXPECT_GT(status.count(" 0S "), 1000 / kalvor_test::thinned(10));
    EXPECT_EQ(status.count(" 0S "), status.count(" 1M "));
    EXPECT_GT(status.count(" O2M "), 1000 / kalvor_test::thinned(10));
    // exact estimates need no correction
    EXPECT_GT(status.count(" 0S "),
              status.count(" O2M ") + status.count(" U2M ") + 100 / kalvor_test::thinned(10));
}

TEST(InvsqrtTest, LargePrecisions) {
    std::mt19937_64 rng(42);
    for (u64 p : {999, 1000, 10000}) expect_all_shapes(p, 1, rng, null_status());
}

// Around the precision from which the root is carried along, one coupled level and two.
TEST(InvsqrtTest, AroundTheCoupledLevels) {
    std::mt19937_64 rng(49);
    const u64 first = newton::kCoupledPrecision;
    for (u64 base : {first, 2 * first - 2})
        for (u64 p = base - 3; p < base + 4; p += kalvor_test::thinned(3))
            for (u64 tds : {1, 2}) expect_all_shapes(p, tds, rng, null_status());
}

// The memory of the plan is what a run takes: with one word, or half of the scratch, less it fails.
TEST(InvsqrtTest, CoupledRunsStayInTheirPlan) {
    std::mt19937_64 rng(50);
    const u64 p = 16011;
    const Number A(make_words(Shape::random, p, rng));
    const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(p, 1);
    Workspace w = workspace(plan);
    const auto run = [&](u64 result, u64 words, u64 bytes) -> std::string {
        BigFloat T(w.result.get(), result);
        try {
            InvsqrtFloat_BigFloatR::run(plan, w.context.with_scratch(AlignedBufferC(w.scratch.get(), bytes)),
                                        null_status(), T, A.value, p,
                                        LinearWordBuffer(w.temporaries.get(), words));
        } catch (const BufferTooSmallException& e) {
            return e.function;
        }
        return "";
    };
    EXPECT_EQ(run(plan.result, plan.temporaries, plan.products.bytes), "");
    EXPECT_EQ(run(plan.result - 1, plan.temporaries, plan.products.bytes), "InvsqrtFloat_BigFloatR::run()");
    EXPECT_EQ(run(plan.result, plan.temporaries - 1, plan.products.bytes),
              "LinearWordBuffer::cut_from_bottom()");
    EXPECT_EQ(run(plan.result, plan.temporaries, plan.products.bytes / 128 * 64),
              "TransformHelper::TransformHelper()");
}

// A plan covers every smaller precision, on the other side of the coupled levels' beginning as well.
TEST(InvsqrtTest, PlansCoverSmallerPrecisions) {
    std::mt19937_64 rng(52);
    const u64 first = newton::kCoupledPrecision;
    const Number A(make_words(Shape::random, first, rng));
    for (u64 planned : {first, u64(3000), 2 * first - 3, 2 * first, 4 * first})
        for (u64 p : {u64(1400), u64(1800), u64(2400), first - 1, first, 2 * first - 4, 2 * first - 3}) {
            if (p > planned) continue;
            const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(planned, 1);
            Workspace w = workspace(plan);
            ASSERT_NO_THROW(
                InvsqrtFloat_BigFloatR::run(plan, w.context, null_status(), w.T, A.value, p, w.buffer()))
                << planned << " " << p;
            ASSERT_TRUE(w.intact()) << planned << " " << p;
            ASSERT_LE(root_error(w.T, A.value, 2, p), error_bits(p)) << planned << " " << p;
        }
}

// The scratch of a plan is never less than a smaller precision's.
TEST(InvsqrtTest, PlansGrowWithThePrecision) {
    InvsqrtFloatPlan below = InvsqrtFloatPlan::make(2000, 1);
    for (u64 p = 2001; p < 12000; p++) {
        const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(p, 1);
        ASSERT_GE(plan.products.bytes, below.products.bytes) << p;
        ASSERT_GE(plan.temporaries, below.temporaries) << p;
        below = plan;
    }
}

// Coupled levels end where the table hands over to an algorithm that drops a carry of many words.
TEST(InvsqrtTest, CoupledLevelsFollowTheTable) {
    const auto entry = [](const char* name) { return *find_algorithm(TableSlot::basic64, name); };
    for (const char* name : {"BKT", "FFT", "C17", "VST"})
        EXPECT_TRUE(entry(name).algorithm->folds_within_a_word()) << name;
    for (const char* name : {"N32", "N64", "HNT"})
        EXPECT_FALSE(entry(name).algorithm->folds_within_a_word()) << name;

    // A level of p words has a convolution of p + 8.
    const newton::CoupledRange range = newton::CoupledRange::of(basic_table64());
    u64 last = 0;
    for (const AlgorithmTable::Item& item : basic_table64().items())
        if (item.algorithm == entry("C17").algorithm) last = item.threshold_words - 8;
    EXPECT_EQ(last, 0x1440000000000u / 64 - 8);
    EXPECT_EQ(range.first, newton::kCoupledPrecision);
    EXPECT_EQ(range.last, last);
    EXPECT_FALSE(range.contains(newton::kCoupledPrecision - 1));
    EXPECT_TRUE(range.contains(newton::kCoupledPrecision));
    EXPECT_TRUE(range.contains(last));
    EXPECT_FALSE(range.contains(last + 1));
    EXPECT_EQ(basic_table64().get_algorithm(last + 8).folds_within_a_word(), true);
    EXPECT_EQ(basic_table64().get_algorithm(last + 9).folds_within_a_word(), false);

    const auto last_of = [&](std::initializer_list<AlgorithmTable::ListItem> list) {
        AlgorithmTableB table("Test", 64);
        for (const AlgorithmTable::ListItem& item : list)
            table.add(item.threshold_bits, entry(item.short_name.c_str()));
        return newton::CoupledRange::of(table).last;
    };
    const u64 first_bits = 64 * (newton::kCoupledPrecision + 8);
    EXPECT_EQ(last_of({{"N64", 1 << 20}, {"C17", 1 << 24}}), 0u);  // what follows the gap is not used
    EXPECT_EQ(last_of({{"N64", first_bits - 64}, {"C17", 1 << 24}}), (1u << 18) - 8);
    EXPECT_EQ(last_of({{"C17", first_bits}, {"N64", 1 << 24}}), newton::kCoupledPrecision);
    EXPECT_EQ(last_of({{"C17", first_bits - 64}, {"N64", 1 << 24}}), 0u);
    EXPECT_EQ(last_of({{"FFT", 1 << 20}, {"C17", 1 << 24}, {"N64", u64(1) << 40}}), (1u << 18) - 8);
}

// Plain levels above coupled ones, and none coupled: such runs stay in their plans, at every smaller
// precision too, and the plans of more words are not too small for them.
TEST(InvsqrtTest, PlainLevelsAboveCoupledOnes) {
    std::mt19937_64 rng(54);
    const u64 first = newton::kCoupledPrecision;
    for (const u64 last : {u64(0), first, 2 * first - 2, 2 * first + 11}) {
        const newton::CoupledRange range{first, last};
        for (const u64 planned : {first, first + 1, 2 * first, 2 * first + 12, 4 * first + 30}) {
            const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(planned, 1, range);
            EXPECT_EQ(plan.coupled.last, last);
            for (const u64 p : {u64(100), first - 1, first, first + 1, 2 * first - 3, 2 * first,
                                2 * first + 11, 2 * first + 12, 2 * first + 13, 4 * first + 30}) {
                if (p > planned) continue;
                const Number A(make_words(shape_of(rng()), operand_length(p, rng), rng),
                               static_cast<i64>(rng() % 9) - 4);
                Workspace w = workspace(plan);
                RecordingStatus status;
                ASSERT_NO_THROW(
                    InvsqrtFloat_BigFloatR::run(plan, w.context, status, w.T, A.value, p, w.buffer()))
                    << last << " " << planned << " " << p;
                ASSERT_TRUE(w.intact()) << last << " " << planned << " " << p;
                ASSERT_LE(root_error(w.T, A.value, 2, p), error_bits(p))
                    << last << " " << planned << " " << p;
            }
        }
    }
}

// x, s and the residual at half of a level's precision, as the levels below leave them.
struct Coupled {
    Coupled(const Number& A, u64 p)
        : previous(newton::previous_precision(p)),
          plan(InvsqrtFloatPlan::make(p, 1)),
          below(workspace(InvsqrtFloatPlan::make(previous, 1))),
          // two held transforms, their work and scratch; a whole product
          w(p + 4, 16,
            newton::HeldTransforms::needs(p + 8, 2).bytes + round_up_64(multiply_scratch_bytes(2 * p + 6))),
          s_words(newton::root_estimate_words(p)),
          d_words(newton::root_error_words(p)),
          s(s_words.get(), s_words.size()),
          d(d_words.get(), d_words.size()),
          root{s, d, p} {
        InvsqrtFloat_BigFloatR::run(InvsqrtFloatPlan::make(previous, 1), below.context, null_status(),
                                    below.T, A.value, previous, below.buffer());
        x = below.T.top(newton::used_estimate_words(p));
    }
    void start(const Number& A) {
        newton::coupled_root_start(w.context, root, A.value, x, previous, "coupled");
    }
    void step(const Number& A, u64 p, const newton::CoupledRoot* above = nullptr) {
        newton::coupled_root_step(w.context, status, w.T, A.value, x, s, d, p, above, "coupled");
    }
    bool intact() const { return w.intact() && s_words.intact() && d_words.intact(); }

    u64 previous;
    InvsqrtFloatPlan plan;
    Workspace below, w;
    GuardedWords s_words, d_words;
    BigFloat x, s, d;
    newton::CoupledRoot root;
    RecordingStatus status;
};

// Single steps at small precisions, where every shape and length is cheap, with both sides of x and s.
TEST(InvsqrtTest, CoupledSteps) {
    std::mt19937_64 rng(51);
    u64 over = 0, under = 0;
    for (u64 p = 84; p <= 300; p += 1 + rng() % 6)
        for (u64 i = 0; i < static_cast<u64>(Shape::count); i++)
            for (Word less : {0, 5}) {
                const Number A(make_words(shape_of(i), operand_length(p, rng), rng),
                               static_cast<i64>(rng() % 9) - 4);
                Coupled c(A, p);
                if (c.x.L >= c.previous) {
                    ASSERT_EQ(sub_word_ip(c.x.T, c.x.L, less), 0);
                    c.x.seal(serial_context());
                }
                c.start(A);
                ASSERT_LE(c.s.L, c.previous + 2);
                c.step(A, p);
                ASSERT_TRUE(c.intact());
                ASSERT_LE(root_error(c.w.T, A.value, 2, p), error_bits(p) + (less != 0 ? 2 : 0))
                    << "p=" << p << " shape=" << i << " less=" << less;
                over += c.status.count(" O2M ");
                under += c.status.count(" U2M ");
            }
    EXPECT_GT(over, 100u);
    EXPECT_GT(under, 100u);
}

// What a level leaves for the next: s = A^(1/2) and d = A - s^2.
TEST(InvsqrtTest, CoupledStepLeavesRootAndResidual) {
    std::mt19937_64 rng(52);
    for (u64 p : {100, 101, 257})
        for (u64 i = 0; i < static_cast<u64>(Shape::count); i++)
            for (u64 next : {2 * p - 2, 2 * p - 1}) {
                const Number A(make_words(shape_of(i), 2 * p + 9, rng), static_cast<i64>(rng() % 9) - 4);
                Coupled c(A, p);
                c.start(A);
                GuardedWords s_words(newton::root_estimate_words(next)),
                    d_words(newton::root_error_words(next));
                BigFloat s(s_words.get(), s_words.size()), d(d_words.get(), d_words.size());
                const newton::CoupledRoot above{s, d, next};
                c.step(A, p, &above);
                ASSERT_TRUE(s_words.intact() && d_words.intact() && c.intact());
                ASSERT_EQ(s.L, p + 2);
                // A - s^2 in units of the residual's last word
                const i64 low = std::min(2 * s.exp, A.value.exp);
                const i64 unit = A.value.mag() - static_cast<i64>(next) - 3;
                const Integer square = Integer(s).times(Integer(s)).shifted_words(2 * s.exp - low);
                const Integer exact = Integer(A.value).shifted_words(A.value.exp - low).minus(square);
                Integer left = exact;
                const Integer found = Integer(d).shifted_words(d.L == 0 ? 0 : d.exp - low);
                if (d.sign) {
                    left = exact.minus(found);
                } else {
                    mpz_add(left.z, exact.z, found.z);
                }
                EXPECT_LE(left.log2() + 64.0 * static_cast<double>(low - unit), 2.5) << p << " " << i;
                // and the root is right, relative, to few units p + 1 words below one
                const double root = Integer(s).log2() + 64.0 * static_cast<double>(s.exp);
                EXPECT_LE(exact.log2() + 64.0 * static_cast<double>(low) - 1 - 2 * root +
                              64.0 * static_cast<double>(p + 1),
                          6.0)
                    << p << " " << i;
            }
}

// A wrong x and a wrong s are noticed by the residual or by the product.
TEST(InvsqrtTest, WrongCoupledEstimateIsFound) {
    const u64 p = 200;
    std::mt19937_64 rng(53);
    const Number A(make_words(Shape::random, p, rng));
    for (u64 depth : {0, 1, 90}) {
        Coupled c(A, p);
        c.x.T[c.x.L - 1 - depth] ^= 1 << 30;
        c.x.seal(serial_context());
        const std::string message = thrown([&] { c.start(A); });
        EXPECT_EQ(message.rfind("AlgorithmFailedException coupled Convergence Failure:\n    top = ", 0), 0u)
            << message;
        Coupled wrong_s(A, p);
        wrong_s.start(A);
        wrong_s.s.T[wrong_s.s.L - 1 - depth] ^= 1 << 30;
        wrong_s.s.seal(serial_context());
        EXPECT_NE(thrown([&] { wrong_s.step(A, p); }), "") << depth;
    }
}

TEST(SlowInvsqrtTest, HundredThousandWords) {
    std::mt19937_64 rng(43);
    for (u64 tds : {1, 2, 7}) expect_all_shapes(100000, tds, rng, null_status());
}

// The upward nudge makes nearly every estimate an over-estimate; a lowered one takes the other branch.
TEST(InvsqrtTest, UnderEstimatesAreCorrected) {
    std::mt19937_64 rng(44);
    RecordingStatus status;
    u64 runs = 0;
    for (u64 p : precisions()) {
        if (p < 10) continue;
        for (Shape shape : {Shape::random, Shape::small_top}) {
            const Number A(make_words(shape, p + 1, rng));
            const u64 previous = newton::previous_precision(p);
            const InvsqrtFloatPlan below = InvsqrtFloatPlan::make(previous, 1),
                                   plan = InvsqrtFloatPlan::make(p, 1);
            Workspace x = workspace(below), w = workspace(plan);
            InvsqrtFloat_BigFloatR::run(below, x.context, null_status(), x.T, A.value, previous, x.buffer());
            BigFloat estimate = x.T.top(newton::used_estimate_words(p));
            ASSERT_EQ(sub_word_ip(estimate.T, estimate.L, 5), 0);
            estimate.seal(serial_context());
            newton::invsqrt_step(w.context, status, w.T, A.value, estimate, p, w.buffer());
            ASSERT_LE(root_error(w.T, A.value, 2, p), error_bits(p) + 2) << p;
            runs++;
        }
    }
    EXPECT_GT(runs, 80u);
    EXPECT_EQ(status.count(" U2M "), runs);
}

TEST(InvsqrtTest, AgreesWithMpfr) {
    std::mt19937_64 rng(45);
    for (u64 p : {9, 10, 700}) {
        const Number A(make_words(Shape::random, p, rng), -static_cast<i64>(p));
        const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(p, 1);
        Workspace w = workspace(plan);
        InvsqrtFloat_BigFloatR::run(plan, w.context, null_status(), w.T, A.value, p, w.buffer());
        mpfr_t root, ours;
        mpfr_inits2(static_cast<mpfr_prec_t>(64 * (p + 4)), root, ours, nullptr);
        mpfr_set_z_2exp(root, Integer(A.value).z, -64 * static_cast<long>(p), MPFR_RNDN);
        mpfr_rec_sqrt(root, root, MPFR_RNDN);
        mpfr_set_z_2exp(ours, Integer(w.T).z, 64 * static_cast<long>(w.T.exp), MPFR_RNDN);
        mpfr_sub(ours, ours, root, MPFR_RNDN);
        EXPECT_LT(mpfr_get_exp(ours), 64 * static_cast<long>(w.T.mag() - static_cast<i64>(p) - 1) + 5);
        mpfr_clears(root, ours, nullptr);
    }
}

// The inverse root of 4 is one half, of 2 at precision 0 a double; even and odd exponents.
TEST(InvsqrtTest, FourAndTwo) {
    for (u64 p : {0, 1, 2, 9, 10, 11, 100})
        for (i64 exp : {-1000, -2, 0, 2, 6}) {
            const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(p, 1);
            Workspace w = workspace(plan);
            const Number four({4}, exp);
            RecordingStatus status;
            InvsqrtFloat_BigFloatR::run(plan, w.context, status, w.T, four.value, p, w.buffer());
            ASSERT_EQ(w.T.L, 1u) << p;
            EXPECT_EQ(w.T.T[0], Word(1) << 63);
            EXPECT_EQ(w.T.exp, -exp / 2 - 1);
            EXPECT_EQ(status.count(" O2M ") + status.count(" U2M "), 0u);
            const Number odd({Word(1) << 32}, exp + 1);  // 2^(64 exp + 96)
            InvsqrtFloat_BigFloatR::run(plan, w.context, status, w.T, odd.value, p, w.buffer());
            ASSERT_EQ(w.T.L, 1u) << p;
            EXPECT_EQ(w.T.T[0], Word(1) << 16);
            EXPECT_EQ(w.T.exp, -exp / 2 - 1);
        }
    for (u64 p : {1, 2, 9, 10, 11, 100})
        for (i64 exp : {-3, -2, -1, 0, 1, 2, 3}) {
            const Number two({2}, exp);
            expect_invsqrt(two.value, p, 1, null_status(), "2, p=" + std::to_string(p));
            if (HasFatalFailure()) return;
        }
    for (i64 exp : {-3, -2, -1, 0, 1, 2, 3}) {
        const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(0, 1);
        Workspace w = workspace(plan);
        const Number two({2}, exp);
        InvsqrtFloat_BigFloatR::run(plan, w.context, null_status(), w.T, two.value, 0, w.buffer());
        const double value = std::ldexp(Integer(w.T).log2() + 64.0 * static_cast<double>(w.T.exp), 0);
        EXPECT_NEAR(value, -0.5 - 32.0 * static_cast<double>(exp), 1e-12) << exp;
    }
}

TEST(InvsqrtTest, BasicForm) {
    std::mt19937_64 rng(46);
    for (u64 p = 0; p <= 10; p++)
        for (u64 i = 0; i < 64; i++) {
            const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(p, 1);
            Workspace w = workspace(plan);
            const Number A(make_words(shape_of(i), operand_length(p, rng), rng),
                           static_cast<i64>(rng() % 9) - 4);
            InvsqrtFloat_BigFloatR_E::run(plan, w.context, w.T, A.value, p, w.buffer());
            ASSERT_TRUE(w.intact());
            ASSERT_LE(root_error(w.T, A.value, 2, p), error_bits(p)) << p << " " << i;
        }
}

TEST(InvsqrtTest, TaskCountsGiveTheSameWords) {
    std::mt19937_64 rng(47);
    for (u64 p : {9, 10, 40, 41, 80, 100, 1500, 6000, 10000}) {
        const Number A(make_words(Shape::random, p + 2, rng));
        std::vector<Word> first;
        for (u64 tds : {1, 2, 7}) {
            const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(p, tds);
            Workspace w = workspace(plan);
            InvsqrtFloat_BigFloatR::run(plan, w.context, null_status(), w.T, A.value, p, w.buffer());
            EXPECT_TRUE(w.intact());
            const std::vector<Word> words(w.T.T, w.T.T + w.T.L);
            if (first.empty()) first = words;
            EXPECT_EQ(words, first) << "p=" << p << " tds=" << tds;
        }
    }
}

TEST(InvsqrtTest, Refusals) {
    const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(30, 2);
    Workspace w = workspace(plan);
    const Number zero({}), three({3}), negative({3}, 0, false);
    const auto run = [&](const Number& A, u64 p, u64 tds) {
        return thrown([&] {
            InvsqrtFloat_BigFloatR::run(plan, w.context.with_tds(tds), null_status(), w.T, A.value, p,
                                        w.buffer());
        });
    };
    const auto basic = [&](const Number& A, u64 p, u64 tds) {
        return thrown([&] {
            InvsqrtFloat_BigFloatR_E::run(plan, w.context.with_tds(tds), w.T, A.value, p, w.buffer());
        });
    };
    EXPECT_EQ(run(three, 30, 2), "");
    EXPECT_EQ(run(three, 31, 2),
              "InvalidParametersException InvsqrtFloat_BigFloatR::run() p is larger than plan.");
    EXPECT_EQ(run(three, 30, 3),
              "InvalidParametersException InvsqrtFloat_BigFloatR::run() tds is larger than plan.");
    EXPECT_EQ(basic(three, 11, 2),
              "InvalidParametersException InvsqrtFloat_BigFloatR_E::run() p is larger than plan.");
    EXPECT_EQ(basic(three, 3, 3),
              "InvalidParametersException InvsqrtFloat_BigFloatR_E::run() tds is larger than plan.");
    for (u64 p : {0, 5, 30}) {
        EXPECT_EQ(run(zero, p, 1), "ArithmeticException InvsqrtFloat_BigFloatR_E::run() Divide by zero.");
        EXPECT_EQ(run(negative, p, 1),
                  "ArithmeticException InvsqrtFloat_BigFloatR_E::run() Square root of negative number.");
    }
    BigFloat small(w.result.get(), 33);
    const auto too_small = [&](u64 p, u64 buffer_words, u64 scratch_bytes) -> std::string {
        try {
            InvsqrtFloat_BigFloatR::run(
                plan, w.context.with_scratch(AlignedBufferC(w.scratch.get(), scratch_bytes)), null_status(),
                small, three.value, p, LinearWordBuffer(w.temporaries.get(), buffer_words));
        } catch (const BufferTooSmallException& e) {
            return e.function;
        }
        return "";
    };
    EXPECT_EQ(too_small(30, plan.temporaries, plan.products.bytes), "InvsqrtFloat_BigFloatR::run()");
    small.buffer_size = 8;
    EXPECT_EQ(too_small(5, plan.temporaries, plan.products.bytes), "InvsqrtFloat_BigFloatR_E::run()");
    small.buffer_size = 34;
    EXPECT_EQ(too_small(30, 40, plan.products.bytes), "LinearWordBuffer::cut_from_bottom()");
    EXPECT_EQ(too_small(30, plan.temporaries, plan.products.bytes - 64),
              "TransformHelper::TransformHelper()");
}

TEST(InvsqrtDeathTest, UnnormalisedOperandIsFatal) {
    kalvor_test::expect_unnormalised_is_fatal([](const BigFloat& A) {
        const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(20, 1);
        Workspace w = workspace(plan);
        InvsqrtFloat_BigFloatR::run(plan, w.context, null_status(), w.T, A, 20, w.buffer());
    });
}

TEST(InvsqrtTest, WrongEstimateIsFound) {
    const u64 p = 60, previous = p / 2 + 1;
    std::mt19937_64 rng(48);
    const Number A(make_words(Shape::random, p, rng));
    const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(p, 1);
    for (u64 depth : {0, 1, 20}) {
        Workspace x = workspace(plan), w = workspace(plan);
        InvsqrtFloat_BigFloatR::run(plan, x.context, null_status(), x.T, A.value, previous, x.buffer());
        BigFloat estimate = x.T.top(newton::used_estimate_words(p));
        estimate.T[estimate.L - 1 - depth] ^= 1 << 30;
        estimate.seal(serial_context());
        const std::string message = thrown(
            [&] { newton::invsqrt_step(w.context, null_status(), w.T, A.value, estimate, p, w.buffer()); });
        const std::string begin =
            "AlgorithmFailedException InvsqrtFloat_BigFloatR::run() Convergence Failure:\n    top = ";
        ASSERT_EQ(message.rfind(begin, 0), 0u) << message;
        EXPECT_GT(message.size(), begin.size());
        EXPECT_EQ(message.find_first_not_of("0123456789", begin.size()), std::string::npos) << message;
    }
    const Number two({2}), five({5});
    const auto basic = [&](const Number& a, double x) {
        Workspace w = workspace(plan);
        w.T.set_double(x, 0);
        return thrown([&] { newton::invsqrt_basic_step(w.context, w.T, a.value, 6, w.buffer()); });
    };
    const std::string name = "AlgorithmFailedException InvsqrtFloat_BigFloatR_E::run() ";
    EXPECT_EQ(basic(two, 0.5), name +
                                   "Under-Estimate -> Convergence Failure:\n    Maximum Error = -4\n"
                                   "    Actual Error  = 0");
    EXPECT_EQ(basic(two, 0.75), name +
                                    "Over-Estimate -> Convergence Failure:\n    Maximum Error = -4\n"
                                    "    Actual Error  = 0");
    EXPECT_EQ(basic(five, 1.0), name + "Convergence Failure:\n    top = 5");
}

TEST(InvsqrtTest, AnnouncesItself) {
    const InvsqrtFloatPlan plan = InvsqrtFloatPlan::make(12, 1);
    Workspace w(plan.needs());
    RecordingStatus status;
    const Number A({10005});
    large_invsqrt(plan, w.context, status, w.T, A.value);
    EXPECT_TRUE(w.intact());
    EXPECT_EQ(status.sections, std::vector<std::string>{"Large Invsqrt..."});
    EXPECT_EQ(status.frames, (std::vector<std::string>{"Iterating: ", " 0S 231", " 1M 231", " O2M 231"}));
    EXPECT_LE(root_error(w.T, A.value, 2, 12), error_bits(12));
}

}  // namespace
}  // namespace trel
