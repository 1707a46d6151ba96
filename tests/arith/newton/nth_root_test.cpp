#include "arith/newton/nth_root.h"

#include <mpfr.h>

#include <algorithm>
#include <cmath>

#include "arith/newton/steps.h"
#include "newton_test_support.h"
#include "reference/mpz_u64.h"
#include "support/effort.h"

namespace trel {
namespace {

using namespace kalvor_test;

Workspace workspace(const InvNthRootPlan& plan) {
    return Workspace(plan.result, plan.temporaries, plan.products.bytes, plan.tds);
}

enum class Form { expanded, factored };

void run_form(Form form, const InvNthRootPlan& plan, const MultiplyContext& context, Status& status,
              BigFloat& T, const BigFloat& A, u64 p, LinearWordBuffer buffer, u64 n) {
    if (form == Form::expanded)
        InvNthRootFloat_BigFloatR_P::run_expanded(plan, context, status, T, A, p, buffer, n);
    else
        InvNthRootFloat_BigFloatR_P::run_factored(plan, context, status, T, A, p, buffer, n);
}

// The start is good to about 40 bits, and every level up to 8 words doubles that: more than the words asked
// for from the first level on, but less than the words kept up to the second.
double root_error_bits(u64 p) {
    return p > 2 ? error_bits(p) : 64.0 * static_cast<double>(p + 1) - 38.0 * static_cast<double>(1 << p);
}

void expect_root(Form form, const BigFloat& A, u64 n, u64 p, u64 tds, Status& status,
                 const std::string& what) {
    const InvNthRootPlan plan = InvNthRootPlan::make(p, tds);
    Workspace w = workspace(plan);
    ASSERT_EQ(thrown([&] { run_form(form, plan, w.context, status, w.T, A, p, w.buffer(), n); }), "") << what;
    ASSERT_TRUE(w.intact()) << what;
    ASSERT_GT(w.T.L, 0u) << what;
    ASSERT_LE(w.T.L, p + 4) << what;
    ASSERT_NE(w.T.T[w.T.L - 1], 0u) << what;
    ASSERT_TRUE(w.T.sign) << what;
    ASSERT_LE(root_error(w.T, A, n, p), root_error_bits(p)) << what;
}

// log2 of |T - A^(-1/n)| in units of the last word that a result of p words keeps, by MPFR. Through
// logarithms: MPFR takes degrees and exponents as long, which has 32 bits on Windows.
double root_error_mpfr(const BigFloat& T, const BigFloat& A, u64 n, u64 p) {
    mpfr_t root, ours;
    mpfr_inits2(static_cast<mpfr_prec_t>(64 * (p + 12)), root, ours, nullptr);
    mpfr_set_z(root, Integer(A).z, MPFR_RNDN);
    mpfr_log2(root, root, MPFR_RNDN);
    mpfr_add_z(root, root, mpz_class(64 * reference::mpz_of_signed(A.exp)).get_mpz_t(), MPFR_RNDN);
    mpfr_div_z(root, root, Integer(n).z, MPFR_RNDN);
    mpfr_neg(root, root, MPFR_RNDN);
    mpfr_exp2(root, root, MPFR_RNDN);
    mpfr_set_z_2exp(ours, Integer(T).z, 64 * static_cast<long>(T.exp), MPFR_RNDN);
    mpfr_sub(ours, ours, root, MPFR_RNDN);
    double error = -1e18;
    if (mpfr_sgn(ours) != 0) {
        long e;
        const double d = mpfr_get_d_2exp(&e, ours, MPFR_RNDN);
        error =
            std::log2(std::fabs(d)) + static_cast<double>(e) - 64.0 * static_cast<double>(last_kept(T, p));
    }
    mpfr_clears(root, ours, nullptr);
    return error;
}

const u64 kDegrees[] = {1, 2, 3, 4, 5, 6, 7, 8, 10, 16, 31};

void expect_all_shapes(u64 p, u64 tds, std::mt19937_64& rng, Status& status) {
    for (u64 i = 0; i < 2 * static_cast<u64>(Shape::count); i++) {
        const u64 length = operand_length(p, rng);
        const Number A(make_words(shape_of(i), length, rng), static_cast<i64>(rng() % 9) - 4);
        const u64 n = kDegrees[rng() % std::size(kDegrees)];
        const Form form = i < static_cast<u64>(Shape::count) ? Form::expanded : Form::factored;
        expect_root(form, A.value, n, p, tds, status,
                    "p=" + std::to_string(p) + " n=" + std::to_string(n) + " shape=" + std::to_string(i) +
                        " length=" + std::to_string(length));
        if (::testing::Test::HasFatalFailure()) return;
    }
}

TEST(NthRootTest, AllShapesAtAllPrecisions) {
    std::mt19937_64 rng(61);
    RecordingStatus status;
    for (u64 p = 0; p <= 300; p += kalvor_test::thinned(7)) {
        expect_all_shapes(p, 1, rng, status);
        if (HasFatalFailure()) return;
    }
    EXPECT_EQ(status.depth, 0u);
    EXPECT_GT(status.count(" 2D "), 1000 / kalvor_test::thinned(10));
    EXPECT_EQ(status.count(" U2M "), status.count(" U3D "));
    EXPECT_GT(status.count(" U2M "), 500 / kalvor_test::thinned(10));
    EXPECT_GT(status.count(" O2M "), 500 / kalvor_test::thinned(10));
}

TEST(NthRootTest, LargePrecisions) {
    std::mt19937_64 rng(62);
    for (u64 p : {999, 1000}) expect_all_shapes(p, 1, rng, null_status());
    const Number A(make_words(Shape::random, 10000, rng));
    expect_root(Form::expanded, A.value, 3, 10000, 1, null_status(), "3");
    expect_root(Form::factored, A.value, 2, 10000, 1, null_status(), "2");
}

TEST(SlowNthRootTest, LargePrecisions) {
    std::mt19937_64 rng(63);
    expect_all_shapes(10000, 2, rng, null_status());
    for (Shape shape : {Shape::random, Shape::ones, Shape::one_plus}) {
        const Number A(make_words(shape, 100000, rng));
        expect_root(Form::expanded, A.value, 3, 100000, 7, null_status(), "3");
        expect_root(Form::factored, A.value, 4, 100000, 1, null_status(), "4");
    }
}

// The starting value alone: A near 1, where y = -ln(A)/n is small, ordinary A, and A of huge magnitude.
TEST(NthRootTest, StartingValues) {
    const InvNthRootPlan plan = InvNthRootPlan::make(0, 1);
    for (u64 n : {1, 2, 3, 7, 1000, 1000000})
        for (i64 exp : {i64(0), i64(1), i64(-1), i64(15), i64(-15), i64(16), i64(-17), i64(1000),
                        i64(-100000), i64(1) << 40})
            for (Word word : {Word(1), Word(2), Word(10005), ~Word(0)}) {
                Workspace w = workspace(plan);
                const Number A({word}, exp);
                InvNthRootFloat_BigFloatR_E::run(plan, w.context, w.T, A.value, 0, w.buffer(), n);
                const double got = Integer(w.T).log2() + 64.0 * static_cast<double>(w.T.exp);
                // in long double: the exponent's part alone is up to 2^46
                const long double want =
                    -(std::log2(static_cast<long double>(word)) + 64.0L * static_cast<long double>(exp)) / n;
                ASSERT_NEAR(got, static_cast<double>(want), std::max(1e-12, std::fabs(got) * 4e-16))
                    << n << " " << exp << " " << word;
                ASSERT_TRUE(w.T.sign);
            }
    // |y| < 2^-16 on both sides of 1
    for (u64 n : {2, 3, 100})
        for (auto [low, exp] : {std::pair<Word, i64>(Word(1) << 30, -1), {Word(1) << 40, -1}}) {
            const Number above({low, 1}, exp), below({~Word(0) - low}, -1);
            for (const Number* A : {&above, &below}) {
                Workspace w = workspace(plan);
                InvNthRootFloat_BigFloatR_E::run(plan, w.context, w.T, A->value, 0, w.buffer(), n);
                // below 1 the logarithm of the top word cancels against that of 2^64
                ASSERT_LE(root_error(w.T, A->value, n, 0), A == &above ? 64 - 52.0 : 64 - 46.0);
                EXPECT_EQ(w.T.mag() == 1, A == &below) << n;
            }
        }
}

// Roots from starting values of every kind, carried on to some words.
TEST(NthRootTest, AllStartsReachTheirPrecision) {
    std::mt19937_64 rng(64);
    for (u64 n : {2, 3, 5, 64, 1000})
        for (i64 exp : {i64(0), i64(-1), i64(20), i64(-20), i64(5000), i64(-5000)})
            for (u64 p : {3, 9, 10, 25})
                for (Form form : {Form::expanded, Form::factored}) {
                    const Number A(make_words(Shape::random, p + 1, rng), exp * static_cast<i64>(n));
                    expect_root(form, A.value, n, p, 1, null_status(),
                                std::to_string(n) + " " + std::to_string(exp) + " " + std::to_string(p));
                    if (HasFatalFailure()) return;
                }
    // 1 +- a little
    for (u64 n : {2, 3, 17, 1024})
        for (u64 p : {1, 5, 9, 10, 40})
            for (Form form : {Form::expanded, Form::factored}) {
                const Number above({5, 0, 1}, -2), below({~Word(0), ~Word(0) - 7}, -2);
                expect_root(form, above.value, n, p, 1, null_status(), "above");
                expect_root(form, below.value, n, p, 1, null_status(), "below");
            }
}

TEST(NthRootTest, ExactRoots) {
    for (u64 p : {1, 5, 9, 10, 11, 100})
        for (Form form : {Form::expanded, Form::factored})
            for (u64 n : {2, 3, 4, 8, 16, 31}) {
                const InvNthRootPlan plan = InvNthRootPlan::make(p, 1);
                Workspace w = workspace(plan);
                const Number one({1}), power({1}, 3 * static_cast<i64>(n));
                run_form(form, plan, w.context, null_status(), w.T, one.value, p, w.buffer(), n);
                EXPECT_EQ(w.T.L, 1u) << p << " " << n;
                EXPECT_EQ(w.T.T[0], 1u);
                EXPECT_EQ(w.T.exp, 0);
                expect_root(form, power.value, n, p, 1, null_status(), "power of two");
            }
}

TEST(NthRootTest, BasicForm) {
    std::mt19937_64 rng(65);
    for (u64 p = 0; p <= 10; p++)
        for (u64 i = 0; i < 64; i++) {
            const InvNthRootPlan plan = InvNthRootPlan::make(p, 1);
            Workspace w = workspace(plan);
            const u64 n = kDegrees[rng() % std::size(kDegrees)];
            const Number A(make_words(shape_of(i), operand_length(p, rng), rng),
                           static_cast<i64>(rng() % 9) - 4);
            InvNthRootFloat_BigFloatR_E::run(plan, w.context, w.T, A.value, p, w.buffer(), n);
            ASSERT_TRUE(w.intact());
            ASSERT_LE(root_error(w.T, A.value, n, p), root_error_bits(p)) << p << " " << n;
        }
}

TEST(NthRootTest, TaskCountsGiveTheSameWords) {
    std::mt19937_64 rng(66);
    for (u64 p : {9, 10, 41, 100, 1500})
        for (Form form : {Form::expanded, Form::factored}) {
            const Number A(make_words(Shape::random, p + 2, rng));
            std::vector<Word> first;
            for (u64 tds : {1, 2, 7}) {
                const InvNthRootPlan plan = InvNthRootPlan::make(p, tds);
                Workspace w = workspace(plan);
                run_form(form, plan, w.context, null_status(), w.T, A.value, p, w.buffer(), 6);
                EXPECT_TRUE(w.intact());
                const std::vector<Word> words(w.T.T, w.T.T + w.T.L);
                if (first.empty()) first = words;
                EXPECT_EQ(words, first) << "p=" << p << " tds=" << tds;
            }
        }
}

TEST(NthRootTest, Refusals) {
    const InvNthRootPlan plan = InvNthRootPlan::make(30, 2);
    Workspace w = workspace(plan);
    const Number zero({}), three({3}), negative({3}, 0, false);
    const auto run = [&](Form form, const Number& A, u64 p, u64 tds, u64 n = 3) {
        return thrown([&] {
            run_form(form, plan, w.context.with_tds(tds), null_status(), w.T, A.value, p, w.buffer(), n);
        });
    };
    for (auto [form, name] : {std::pair(Form::expanded, std::string("run_expanded()")),
                              std::pair(Form::factored, std::string("run_factored()"))}) {
        const std::string function = " InvNthRootFloat_BigFloatR_P::" + name + " ";
        EXPECT_EQ(run(form, three, 30, 2), "");
        EXPECT_EQ(run(form, three, 31, 2),
                  "InvalidParametersException" + function + "p is larger than plan.");
        EXPECT_EQ(run(form, three, 30, 3),
                  "InvalidParametersException" + function + "tds is larger than plan.");
        EXPECT_EQ(run(form, three, 30, 1, 0), "ArithmeticException" + function + "Divide by zero.");
        EXPECT_EQ(run(form, three, 30, 1, ~u64(0)), "");
        for (u64 p : {0, 5, 30}) {
            EXPECT_EQ(run(form, zero, p, 1),
                      "ArithmeticException InvNthRootFloat_BigFloatR_E::run() Divide by zero.");
            EXPECT_EQ(run(form, negative, p, 1),
                      "ArithmeticException InvNthRootFloat_BigFloatR_E::run() Nth root of negative number.");
        }
        BigFloat small(w.result.get(), 35);
        try {
            run_form(form, plan, w.context, null_status(), small, three.value, 30, w.buffer(), 3);
            ADD_FAILURE();
        } catch (const BufferTooSmallException& e) {
            EXPECT_EQ(e.function, "InvNthRootFloat_BigFloatR_P::" + name);
            EXPECT_EQ(e.required_size, 36u);
        }
    }
    EXPECT_EQ(thrown([&] {
                  InvNthRootFloat_BigFloatR_E::run(plan, w.context, w.T, three.value, 11, w.buffer(), 3);
              }),
              "InvalidParametersException InvNthRootFloat_BigFloatR_E::run() p is larger than plan.");
}

TEST(NthRootDeathTest, UnnormalisedOperandIsFatal) {
    kalvor_test::expect_unnormalised_is_fatal([](const BigFloat& A) {
        const InvNthRootPlan plan = InvNthRootPlan::make(20, 1);
        Workspace w = workspace(plan);
        InvNthRootFloat_BigFloatR_P::run_expanded(plan, w.context, null_status(), w.T, A, 20, w.buffer(), 3);
    });
}

// A fault in an estimate is found by the next level.
TEST(NthRootTest, WrongEstimateIsFound) {
    const u64 p = 60, previous = newton::nth_root_previous(p);
    std::mt19937_64 rng(67);
    const Number A(make_words(Shape::random, p, rng));
    const InvNthRootPlan plan = InvNthRootPlan::make(p, 1);
    for (u64 depth : {0, 1, 20})
        for (u64 n : {2, 3}) {
            Workspace x = workspace(plan), w = workspace(plan);
            InvNthRootFloat_BigFloatR_P::run_expanded(plan, x.context, null_status(), x.T, A.value, previous,
                                                      x.buffer(), n);
            BigFloat estimate = x.T.top(previous + 2);
            // from one word down, as a fault in a product leaves it
            for (u64 i = depth; i < estimate.L; i++) estimate.T[estimate.L - 1 - i] ^= rng() >> 1;
            estimate.seal(serial_context());
            const std::string expanded = thrown([&] {
                newton::nth_root_expanded_step(w.context, null_status(), w.T, A.value, n, estimate, p,
                                               w.buffer());
            });
            const std::string begin =
                "AlgorithmFailedException InvNthRootFloat_BigFloatR_P::run_expanded() Convergence Failure:\n"
                "    topA = ";
            ASSERT_EQ(expanded.rfind(begin, 0), 0u) << depth << " " << n << " " << expanded;
            EXPECT_NE(expanded.find("\n    topB = "), std::string::npos) << expanded;
            const std::string factored = thrown([&] {
                newton::nth_root_factored_step(w.context, null_status(), w.T, A.value, n, estimate, p,
                                               w.buffer());
            });
            const std::string top =
                "AlgorithmFailedException InvNthRootFloat_BigFloatR_P::run_factored() Convergence Failure:\n"
                "    top = ";
            ASSERT_EQ(factored.rfind(top, 0), 0u) << factored;
        }
}

TEST(NthRootTest, AnnouncesItself) {
    const InvNthRootPlan plan = InvNthRootPlan::make(12, 1);
    const Number A({10005});
    const auto frames = [&](u64 n) {
        Workspace w(plan.needs());
        RecordingStatus status;
        inv_nth_root(plan, w.context, status, w.T, A.value, n);
        EXPECT_TRUE(w.intact());
        EXPECT_EQ(status.sections, std::vector<std::string>{"Radical x^(-1/" + std::to_string(n) + ")..."});
        EXPECT_EQ(status.depth, 0u);
        EXPECT_LE(root_error(w.T, A.value, n, 12), error_bits(12));
        return status.frames;
    };
    EXPECT_EQ(frames(3), (std::vector<std::string>{"Iterating: ", " 0P 231", " 1M 231", " 2D 231"}));
    const std::vector<std::string> even = frames(4);
    ASSERT_GE(even.size(), 4u);
    EXPECT_EQ(even[1], " 0P 231");
    EXPECT_EQ(even[2], " 1M 231");
    if (even.size() == 4)
        EXPECT_EQ(even[3], " O2M 231");
    else
        EXPECT_EQ(even,
                  (std::vector<std::string>{"Iterating: ", " 0P 231", " 1M 231", " U2M 231", " U3D 231"}));
}

// 2^(64 m) + sign 2^(64 low), low < m.
Number two_terms(i64 m, i64 low, bool plus) {
    std::vector<Word> words(static_cast<u64>(m - low) + 1, plus ? 0 : ~Word(0));
    words.front() = 1;
    words.back() = plus;
    return Number(std::move(words), low);
}

// The correction of such a number's root is a single word, of which the quotient by n needs all words down to
// the bottom of the result.
void expect_two_terms(u64 p, u64 d, u64 n) {
    for (const Form form : {Form::expanded, Form::factored})
        for (const bool plus : {true, false}) {
            const std::string what = std::to_string(p) + " " + std::to_string(d) + " " + std::to_string(n);
            const Number near_one = two_terms(0, -static_cast<i64>(d), plus);
            expect_root(form, near_one.value, n, p, 1, null_status(), "1 +- 2^(-64d) " + what);
            const Number power = two_terms(static_cast<i64>(d * n), 0, plus);
            expect_root(form, power.value, n, p, 1, null_status(), "2^(64dn) +- 1 " + what);
        }
}

TEST(NthRootTest, TwoTerms) {
    for (u64 p : {1, 2, 3, 5, 8, 9, 10, 11, 12, 13, 17, 25, 40, 41})
        for (u64 d = 1; d <= p; d++)
            for (u64 n : {2, 3, 4, 5, 7}) {
                expect_two_terms(p, d, n);
                if (HasFatalFailure()) return;
            }
    for (u64 d = 1; d <= 300; d += d < 40 ? 7 : 29) expect_two_terms(300, d, 3);
    for (u64 d : {1, 2, 100, 333, 499, 500, 501, 502, 503, 504, 505, 506, 750, 997, 999, 1000})
        expect_two_terms(1000, d, 3);
}

TEST(SlowNthRootTest, TwoTerms) {
    for (u64 p : {100, 301, 1000})
        for (u64 d = 1; d <= p; d += kalvor_test::thinned(7))
            for (u64 n : {3, 6}) {
                expect_two_terms(p, d, n);
                if (HasFatalFailure()) return;
            }
}

// With a large degree the first level multiplies the square of the start's error by n / 2, so that it has to
// be better than a double: near 1, where the root is 1 + expm1(y); for larger roots; and beyond a double's
// range. Degrees of 64 bits need all of the pair.
const u64 kLargeDegrees[] = {1000,
                             1000000,
                             1000001,
                             u64(1) << 20,
                             999999937,
                             (u64(1) << 32) - 5,
                             u64(1) << 32,
                             (u64(1) << 32) + 1,
                             (u64(1) << 53) + 1,
                             (u64(1) << 62) + 12345,
                             (u64(1) << 63) - 1,
                             u64(1) << 63,
                             (u64(1) << 63) + 1,
                             0xfedcba9876543210,
                             ~u64(0) - 1,
                             ~u64(0)};

void expect_large_degree(u64 n, const BigFloat& A, u64 p) {
    for (const Form form : {Form::expanded, Form::factored}) {
        const InvNthRootPlan plan = InvNthRootPlan::make(p, 1);
        Workspace w = workspace(plan);
        ASSERT_EQ(thrown([&] { run_form(form, plan, w.context, null_status(), w.T, A, p, w.buffer(), n); }),
                  "")
            << "n=" << n << " exp=" << A.exp << " p=" << p;
        ASSERT_TRUE(w.intact());
        // p = 0 is the start: 50 bits of A's top, divided by n, and the steps of a pair of doubles
        const double bits = p == 0 ? 64.0 - 52.0 : root_error_bits(p);
        ASSERT_LE(root_error_mpfr(w.T, A, n, p), std::max(bits, 4.5))
            << "n=" << n << " exp=" << A.exp << " p=" << p;
    }
}

TEST(NthRootTest, LargeDegrees) {
    std::mt19937_64 rng(61);
    for (const u64 n : kLargeDegrees) {
        const i64 limit = i64(1) << 60;
        const i64 near = 0, far = static_cast<i64>(n / 100);
        const i64 beyond = n > u64(limit / 20) ? limit - 1 : static_cast<i64>(20 * n);
        for (const i64 exp :
             {near, near - 1, near + 7, far, -far, beyond, -beyond, beyond - 12345, -beyond + 777})
            for (u64 p = 0; p <= 5; p++) {
                const Number A(make_words(Shape::random, 1 + rng() % 7, rng), exp);
                expect_large_degree(n, A.value, p);
                if (HasFatalFailure()) return;
            }
    }
}

TEST(NthRootTest, LargeDegreesOfAllShapes) {
    std::mt19937_64 rng(68);
    for (const u64 n : kLargeDegrees)
        for (const u64 p : {1, 2, 3, 4, 8, 9, 10, 11, 21})
            for (u64 i = 0; i < static_cast<u64>(Shape::count); i++) {
                const Number A(make_words(shape_of(i), operand_length(p, rng), rng),
                               static_cast<i64>(rng() % 9) - 4);
                expect_large_degree(n, A.value, p);
                if (HasFatalFailure()) return;
            }
    for (const u64 d : {1, 3, 7}) {
        expect_large_degree(~u64(0) - 2, two_terms(0, -static_cast<i64>(d), true).value, 12);
        expect_large_degree(~u64(0) - 2, two_terms(0, -static_cast<i64>(d), false).value, 12);
    }
}

}  // namespace
}  // namespace trel
