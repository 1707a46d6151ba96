#include "constants/evaluator/error_bound.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "reference/mpz_words.h"
#include "support/number.h"

using namespace kalvor;
using trel::BigFloat;
using trel::i64;
using trel::u32;
using trel::u64;
using trel::Word;

namespace {

constexpr i64 kMost = (i64(1) << 62) - 1;

struct Real {
    Real() { mpfr_init2(x, 700); }
    explicit Real(double value) : Real() { mpfr_set_d(x, value, MPFR_RNDN); }
    Real(const Real& other) : Real() { mpfr_set(x, other.x, MPFR_RNDN); }
    Real& operator=(const Real&) = delete;
    ~Real() { mpfr_clear(x); }
    mpfr_t x;
};

struct Number : kalvor_test::NumberOf<BigFloat> {
    explicit Number(double x) : NumberOf(4) { value.set_double(x, 0); }
};

double log2_of(const PowerOfTwo& x) {
    return 64.0 * static_cast<double>(x.words) + x.bits;
}

TEST(PowerOfTwoTest, Arithmetic) {
    EXPECT_EQ((PowerOfTwo{0, 63} * PowerOfTwo{0, 63}), (PowerOfTwo{1, 62}));
    EXPECT_EQ((PowerOfTwo{-3, 1} * PowerOfTwo{2, 5}), (PowerOfTwo{-1, 6}));
    EXPECT_EQ((PowerOfTwo{5, 0}.inverse()), (PowerOfTwo{-5, 0}));
    EXPECT_EQ((PowerOfTwo{5, 9}.inverse()), (PowerOfTwo{-6, 55}));
    EXPECT_EQ((PowerOfTwo{0, 0}.shifted(-1)), (PowerOfTwo{-1, 63}));
    EXPECT_EQ((PowerOfTwo{0, 10}.shifted(-128 - 11)), (PowerOfTwo{-3, 63}));
    EXPECT_EQ((PowerOfTwo{0, 60}.shifted(4)), (PowerOfTwo{1, 0}));
    EXPECT_LT((PowerOfTwo{-1, 63}), (PowerOfTwo{0, 0}));
    EXPECT_LT((PowerOfTwo{7, 1}), (PowerOfTwo{7, 2}));
}

TEST(PowerOfTwoTest, ExponentsDoNotWrap) {
    const PowerOfTwo huge{kMost, 0}, tiny{-kMost, 0};
    EXPECT_EQ(huge * huge, huge);
    EXPECT_EQ(tiny * tiny, tiny);
    EXPECT_EQ(huge.inverse(), tiny);
    EXPECT_EQ(huge.shifted(std::numeric_limits<i64>::max()), huge);
    EXPECT_EQ(tiny.shifted(std::numeric_limits<i64>::min()), tiny);
    EXPECT_TRUE(ErrorBound::within(huge).is_unlimited());
}

TEST(PowerOfTwoTest, AroundANumber) {
    for (const double x : {1.0, 1.5, 2.0, 3.0, 0.75, 0x1p-63, 0x1p-64, 0x1p-65, 0x1p63, 0x1.8p64}) {
        const Number n(x);
        EXPECT_EQ(log2_of(at_least(n.value)), std::floor(std::log2(x))) << x;
        EXPECT_EQ(log2_of(above(n.value)), std::floor(std::log2(x)) + 1) << x;
    }
}

// One operation: what it makes of exact operands, and its rule.
struct Operation {
    const char* name;
    std::function<void(mpfr_t result, const mpfr_t x, const mpfr_t y)> exact;
    std::function<ErrorBound(const BigFloat& T, const Approximation& x, const Approximation& y)> rule;
    double slack;  // bits by which the bound may be above the worst case
};

const std::vector<Operation>& operations() {
    static const std::vector<Operation> all = {
        {"product", [](mpfr_t r, const mpfr_t x, const mpfr_t y) { mpfr_mul(r, x, y, MPFR_RNDN); },
         [](const BigFloat&, const Approximation& x, const Approximation& y) { return product_error(x, y); },
         4},
        {"quotient", [](mpfr_t r, const mpfr_t x, const mpfr_t y) { mpfr_div(r, x, y, MPFR_RNDN); },
         [](const BigFloat&, const Approximation& x, const Approximation& y) { return quotient_error(x, y); },
         6},
        {"sum", [](mpfr_t r, const mpfr_t x, const mpfr_t y) { mpfr_add(r, x, y, MPFR_RNDN); },
         [](const BigFloat&, const Approximation& x, const Approximation& y) { return x.error + y.error; },
         2},
        {"seventh power", [](mpfr_t r, const mpfr_t x, const mpfr_t) { mpfr_pow_ui(r, x, 7, MPFR_RNDN); },
         [](const BigFloat& T, const Approximation& x, const Approximation&) { return power_error(T, x, 7); },
         4},
        {"inverse third power",
         [](mpfr_t r, const mpfr_t x, const mpfr_t) { mpfr_pow_si(r, x, -3, MPFR_RNDN); },
         [](const BigFloat& T, const Approximation& x, const Approximation&) {
             return power_error(T, x, -3);
         },
         4},
        {"root", [](mpfr_t r, const mpfr_t x, const mpfr_t) { mpfr_sqrt(r, x, MPFR_RNDN); },
         [](const BigFloat& T, const Approximation& x, const Approximation&) { return root_error(T, x); }, 4},
        {"inverse root", [](mpfr_t r, const mpfr_t x, const mpfr_t) { mpfr_rec_sqrt(r, x, MPFR_RNDN); },
         [](const BigFloat& T, const Approximation& x, const Approximation&) { return root_error(T, x); }, 4},
        {"mean", [](mpfr_t r, const mpfr_t x, const mpfr_t y) { mpfr_agm(r, x, y, MPFR_RNDN); },
         [](const BigFloat& T, const Approximation& x, const Approximation& y) {
             return mean_error(T, x, y);
         },
         20},
        {"logarithm", [](mpfr_t r, const mpfr_t x, const mpfr_t) { mpfr_log(r, x, MPFR_RNDN); },
         [](const BigFloat&, const Approximation& x, const Approximation&) { return logarithm_error(x); }, 4},
    };
    return all;
}

void shift(Real& x, double exponent, int sign) {
    if (exponent == 0) return;
    Real step(static_cast<double>(sign));
    mpfr_mul_2si(step.x, step.x, static_cast<long>(exponent), MPFR_RNDN);
    mpfr_add(x.x, x.x, step.x, MPFR_RNDN);
}

// log2 of the largest difference that operands at the ends of their bounds make; 0: the operand is exact.
double worst(const Operation& operation, double x, double ex, double y, double ey) {
    Real centre;
    operation.exact(centre.x, Real(x).x, Real(y).x);
    double worst = -1e9;
    for (const int sx : {-1, 1}) {
        for (const int sy : {-1, 1}) {
            Real a(x), b(y), r;
            shift(a, ex, sx);
            shift(b, ey, sy);
            operation.exact(r.x, a.x, b.x);
            mpfr_sub(r.x, r.x, centre.x, MPFR_RNDN);
            if (mpfr_zero_p(r.x)) continue;
            mpfr_abs(r.x, r.x, MPFR_RNDN);
            mpfr_log2(r.x, r.x, MPFR_RNDU);
            worst = std::max(worst, mpfr_get_d(r.x, MPFR_RNDU));
        }
    }
    return worst;
}

ErrorBound within(double exponent) {
    return exponent == 0 ? ErrorBound::none()
                         : ErrorBound::within(PowerOfTwo{}.shifted(static_cast<i64>(exponent)));
}

// A bound holds at the ends of its operands' bounds, and is not much above.
TEST(ErrorBoundTest, RulesHoldAndAreClose) {
    for (const Operation& operation : operations()) {
        for (const double x : {1.0, 1.999, 3.7, 1e-30, 7e25}) {
            for (const double y : {1.0, 1.001, 5.3, 1e-19, 3e20}) {
                for (const double ex : {0.0, -150.0, -201.0}) {
                    for (const double ey : {0.0, -149.0, -230.0}) {
                        Real result;
                        operation.exact(result.x, Real(x).x, Real(y).x);
                        const Number a(x), b(y), T(std::max(mpfr_get_d(result.x, MPFR_RNDN), 1e-300));
                        const ErrorBound bound =
                            operation.rule(T.value, {a.value, within(ex)}, {b.value, within(ey)});
                        const double seen = worst(operation, x, ex, y, ey);
                        const std::string what = std::string(operation.name) + " " + std::to_string(x) + " " +
                                                 std::to_string(y) + " " + std::to_string(ex) + " " +
                                                 std::to_string(ey);
                        if (seen == -1e9) {
                            EXPECT_TRUE(bound.exact) << what;
                            continue;
                        }
                        ASSERT_FALSE(bound.exact) << what;
                        EXPECT_GE(log2_of(bound.limit), seen) << what;
                        EXPECT_LE(log2_of(bound.limit), seen + operation.slack) << what;
                    }
                }
            }
        }
    }
}

// Where the error is half of the operand nothing is known of what divides by it.
TEST(ErrorBoundTest, OperandsThatMayBeZero) {
    const Number x(1.5), one(1.0);
    BigFloat zero;
    const Approximation exact{one.value, ErrorBound::none()};
    for (const double e : {-2.0, -1.0, 0.5, 3.0}) {
        const Approximation doubtful{x.value, ErrorBound::within(PowerOfTwo{}.shifted(static_cast<i64>(e)))};
        const bool lost = e >= -1;
        EXPECT_EQ(quotient_error(exact, doubtful).is_unlimited(), lost) << e;
        EXPECT_EQ(root_error(x.value, doubtful).is_unlimited(), lost) << e;
        EXPECT_EQ(mean_error(x.value, exact, doubtful).is_unlimited(), lost) << e;
        EXPECT_EQ(logarithm_error(doubtful).is_unlimited(), lost) << e;
        EXPECT_FALSE(product_error(exact, doubtful).is_unlimited());
    }
    EXPECT_TRUE(quotient_error(exact, {zero, ErrorBound::none()}).is_unlimited());
    EXPECT_TRUE(ErrorBound::of_words(zero, 10, 0).is_unlimited());
    EXPECT_TRUE(product_error({zero, ErrorBound::none()}, exact).exact);
}

TEST(ErrorBoundTest, WordsOfAResult) {
    const Number x(1.5);
    EXPECT_EQ(ErrorBound::of_words(x.value, 100, 6).limit, (PowerOfTwo{-99, 6}));
    EXPECT_EQ(ErrorBound::of_words(x.value, 100, 70).limit, (PowerOfTwo{-98, 6}));
    EXPECT_EQ(ErrorBound::within({-5, 60}).times_word(5).limit, (PowerOfTwo{-5, 63}));
    EXPECT_EQ(ErrorBound::within({-5, 60}).times_word(16).limit, (PowerOfTwo{-4, 1}));
    EXPECT_TRUE(ErrorBound::within({-5, 60}).times_word(0).exact);
    EXPECT_TRUE(ErrorBound::none().shifted(100).exact);
}

// 10^-n >= 2^e
TEST(ErrorBoundTest, CertainDecimalDigits) {
    EXPECT_EQ(certain_decimal_digits(ErrorBound::none()), std::numeric_limits<u64>::max());
    EXPECT_EQ(certain_decimal_digits(ErrorBound::unlimited()), 0u);
    EXPECT_EQ(certain_decimal_digits(ErrorBound::within({0, 0})), 0u);
    EXPECT_EQ(certain_decimal_digits(ErrorBound::within({-1, 61})), 0u);
    EXPECT_EQ(certain_decimal_digits(ErrorBound::within({-1, 60})), 1u);
    EXPECT_EQ(certain_decimal_digits(ErrorBound::within({-1, 0})), 19u);
    for (const i64 words : {2, 100, 51909, 519054, 51905154}) {
        for (const u32 bits : {0u, 1u, 37u, 63u}) {
            const double exact = (64.0 * static_cast<double>(words) - bits) * std::log10(2.0);
            EXPECT_NEAR(static_cast<double>(certain_decimal_digits(ErrorBound::within({-words, bits}))),
                        std::floor(exact), 0.5)
                << words << " " << bits;
        }
    }
}

// A product of n factors loses the logarithm of n.
TEST(ErrorBoundTest, ProductsOfManyFactors) {
    trel::Word three = 3;
    trel::BigFloat x(&three, 1);
    x.L = 1;
    x.sign = true;
    // 3 is between 2 and 4.
    ShareSum shares;
    for (int i = 0; i < 64; i++) shares.add({x, ErrorBound::within({-100, 0})});
    EXPECT_EQ(shares.of(x).limit, PowerOfTwo({-100, 0}).shifted(-1 + 6 + 1 + 2));
    shares.add({x, ErrorBound::none()});
    EXPECT_EQ(shares.of(x).limit, PowerOfTwo({-100, 0}).shifted(8));
    shares.add({x, ErrorBound::within({0, 0})});  // as large as 1/2 of it
    EXPECT_TRUE(shares.of(x).is_unlimited());
    EXPECT_TRUE(ShareSum().of(x).exact);
    EXPECT_EQ(tighter(ErrorBound::within({-3, 1}), ErrorBound::within({-3, 2})).limit, (PowerOfTwo{-3, 1}));
    EXPECT_EQ(tighter(ErrorBound::unlimited(), ErrorBound::within({-3, 2})).limit, (PowerOfTwo{-3, 2}));
    EXPECT_TRUE(tighter(ErrorBound::none(), ErrorBound::within({-3, 2})).exact);
}

// A sum of n terms loses the logarithm of n, and not a bit with each term.
TEST(ErrorBoundTest, SumsOfManyTerms) {
    const auto bound = [](i64 words) { return ErrorBound::within({words, 0}); };
    std::vector<ErrorBound> terms(64, bound(-100));
    EXPECT_EQ(ErrorBound::sum(terms).limit, (PowerOfTwo{-100, 6}));
    terms.push_back(bound(-200));
    EXPECT_EQ(ErrorBound::sum(terms).limit, (PowerOfTwo{-100, 7}));
    EXPECT_EQ(ErrorBound::sum({bound(-3), ErrorBound::none()}).limit, (PowerOfTwo{-3, 0}));
    EXPECT_EQ(ErrorBound::sum({bound(-5), bound(-3), bound(-4)}).limit, (PowerOfTwo{-3, 2}));
    EXPECT_TRUE(ErrorBound::sum({ErrorBound::none(), ErrorBound::none()}).exact);
    EXPECT_TRUE(ErrorBound::sum({bound(-3), ErrorBound::unlimited()}).is_unlimited());
}

}  // namespace
