// Series as functions of formulas: sums that are known otherwise, every refusal, every warning.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "formula_support.h"
#include "support/effort.h"

using namespace kalvor;
using kalvor_test::built;
using kalvor_test::EvaluatorRun;
using kalvor_test::expect_formula;
using kalvor_test::FormulaFactory;
using kalvor_test::Real;
using kalvor_test::refusal;
using trel::i64;
using trel::u64;

namespace {

constexpr mpfr_rnd_t kR = MPFR_RNDN;
using Want = std::function<void(mpfr_t)>;
struct Case {
    std::string text;
    Want want;
    trel::u32 bits = 16;
};

std::string hyperdescent(const std::string& P, const std::string& Q, const std::string& coefficients) {
    return "{SeriesHyperdescent : {" + coefficients + " PolynomialP : [" + P + "] PolynomialQ : [" + Q +
           "]}}";
}
std::string hypergeometric(const std::string& P, const std::string& Q, const std::string& R,
                           const std::string& coefficients) {
    return "{SeriesHypergeometric : {" + coefficients + " PolynomialP : [" + P + "] PolynomialQ : [" + Q +
           "] PolynomialR : [" + R + "]}}";
}
std::string bbp(const std::string& P, const std::string& Q, const std::string& powers,
                const std::string& coefficients) {
    return "{SeriesBinaryBBP : {" + coefficients + " " + powers + " PolynomialP : [" + P +
           "] PolynomialQ : [" + Q + "]}}";
}
std::string coefficients(const std::string& P, const std::string& Q, const std::string& D,
                         const std::string& power = "") {
    return (power.empty() ? "" : "Power : " + power + " ") + "CoefficientP : " + P + " CoefficientQ : " + Q +
           " CoefficientD : " + D;
}
const std::string kPlain = coefficients("1", "0", "1");
std::string powers(const char* alternating, i64 coef, i64 shift) {
    return std::string("Alternating : \"") + alternating + "\" PowerCoef : " + std::to_string(coef) +
           " PowerShift : " + std::to_string(shift);
}

// As many terms as 1 / k! needs.
unsigned long enough(mpfr_t x) {
    return static_cast<unsigned long>(mpfr_get_prec(x)) / 10 + 200;
}
// The sum of P(k) / Q(1) ... Q(k) term after term.
void direct(mpfr_t x, const std::function<void(mpfr_t, unsigned long)>& P,
            const std::function<void(mpfr_t, unsigned long)>& multiply_by_Q, unsigned long terms) {
    mpfr_t product, term;
    mpfr_inits2(mpfr_get_prec(x), product, term, nullptr);
    mpfr_set_ui(product, 1, kR);
    mpfr_set_ui(x, 0, kR);
    for (unsigned long k = 1; k <= terms; k++) {
        multiply_by_Q(product, k);
        P(term, k);
        mpfr_div(term, term, product, kR);
        mpfr_add(x, x, term, kR);
    }
    mpfr_clears(product, term, nullptr);
}

// The same where Q(k) is a word: a hundred times as fast at 100,000 digits.
void direct_by_words(mpfr_t x, const std::function<void(mpfr_t, unsigned long)>& multiply_by_P,
                     const std::function<unsigned long(unsigned long)>& Q, unsigned long terms) {
    mpfr_t quotient, term;
    mpfr_inits2(mpfr_get_prec(x), quotient, term, nullptr);
    mpfr_set_ui(quotient, 1, kR);
    mpfr_set_ui(x, 0, kR);
    for (unsigned long k = 1; k <= terms; k++) {
        mpfr_div_ui(quotient, quotient, Q(k), kR);
        mpfr_set(term, quotient, kR);
        multiply_by_P(term, k);
        mpfr_add(x, x, term, kR);
    }
    mpfr_clears(quotient, term, nullptr);
}

const Want kLog2 = [](mpfr_t x) { mpfr_const_log2(x, kR); };
const Want kCatalan = [](mpfr_t x) { mpfr_const_catalan(x, kR); };
// Computed once a precision: MPFR takes four seconds for 100,000 digits.
const Want kZeta3 = [](mpfr_t x) {
    static mpfr_t last;
    static bool made = false;
    if (!made || mpfr_get_prec(last) != mpfr_get_prec(x)) {
        if (made) mpfr_clear(last);
        mpfr_init2(last, mpfr_get_prec(x));
        mpfr_zeta_ui(last, 3, kR);
        made = true;
    }
    mpfr_set(x, last, kR);
};
const Want kPi = [](mpfr_t x) { mpfr_const_pi(x, kR); };
void exp_of(mpfr_t x, long n) {
    mpfr_set_si(x, n, kR);
    mpfr_exp(x, x, kR);
}
void inverse(mpfr_t x) {
    mpfr_ui_div(x, 1, x, kR);
}

std::vector<Case> user_series() {
    std::vector<Case> list = {
        // Hexadecimal digits of Pi, 47/15 of them for k = 0
        {bbp("47 151 120", "15 194 712 1024 512", powers("false", -4, 0), coefficients("15", "47", "15")),
         kPi},
        {bbp("47 151 120", "15 194 712 1024 512", powers("false", -4, 0),
             coefficients("15", "47", "15", "-1")),
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             inverse(x);
         }},
        // Sum of 1 / (k 2^k), and 2^5, 2^1023, 2^-1023 times that
        {bbp("1", "0 1", powers("false", -1, 0), kPlain), kLog2},
        {bbp("1", "0 1", powers("false", -1, 5), coefficients("1", "0", "32")), kLog2},
        {bbp("1", "0 1", powers("false", -1, 1023), kPlain),
         [](mpfr_t x) {
             mpfr_const_log2(x, kR);
             mpfr_mul_2ui(x, x, 1023, kR);
         }},
        {bbp("1", "0 1", powers("false", -1, -1023), kPlain),
         [](mpfr_t x) {
             mpfr_const_log2(x, kR);
             mpfr_div_2ui(x, x, 1023, kR);
         }},
        // The same with signs: ln(3/2)
        {bbp("1", "0 1", powers("true", -1, 0), coefficients("-1", "0", "1")),
         [](mpfr_t x) {
             mpfr_set_d(x, 1.5, kR);
             mpfr_log(x, x, kR);
         }},
        // ln(1 + 2^-1024) 2^1023, and a Q(k) that is negative
        {bbp("1", "0 -1", powers("true", -1024, 1023), kPlain),
         [](mpfr_t x) {
             mpfr_set_ui_2exp(x, 1, -1024, kR);
             mpfr_log1p(x, x, kR);
             mpfr_mul_2ui(x, x, 1023, kR);
         },
         64},
        // Sum of (k - 3) / (k 2^k) = 1 - 3 ln 2, one term of which is zero
        {bbp("-3 1", "0 1", powers("false", -1, 0), kPlain),
         [](mpfr_t x) {
             mpfr_const_log2(x, kR);
             mpfr_mul_ui(x, x, 3, kR);
             mpfr_ui_sub(x, 1, x, kR);
         }},
        // e, 1/e, sinh 1, sin 1
        {hyperdescent("1", "0 1", coefficients("1", "1", "1")), [](mpfr_t x) { exp_of(x, 1); }},
        {hyperdescent("1", "0 1", coefficients("1", "1", "1", "-1")), [](mpfr_t x) { exp_of(x, -1); }},
        {hyperdescent("1", "0 -1", coefficients("1", "1", "1")), [](mpfr_t x) { exp_of(x, -1); }},
        {hyperdescent("1", "0 2 4", coefficients("1", "1", "1")),
         [](mpfr_t x) {
             mpfr_set_ui(x, 1, kR);
             mpfr_sinh(x, x, kR);
         }},
        {hyperdescent("1", "0 -2 -4", coefficients("1", "1", "1")),
         [](mpfr_t x) {
             mpfr_set_ui(x, 1, kR);
             mpfr_sin(x, x, kR);
         }},
        // Bessel's I0(2), the sum of 1 / k!^2
        {hyperdescent("1", "0 0 1", coefficients("1", "1", "1")),
         [](mpfr_t x) {
             direct_by_words(
                 x, [](mpfr_t, unsigned long) {}, [](unsigned long k) { return k * k; }, enough(x));
             mpfr_add_ui(x, x, 1, kR);
         }},
        // Sum of (k - 3) / k! = 3 - 2e
        {hyperdescent("-3 1", "0 1", kPlain),
         [](mpfr_t x) {
             exp_of(x, 1);
             mpfr_mul_ui(x, x, 2, kR);
             mpfr_ui_sub(x, 3, x, kR);
         }},
        // Sum of (k - 1) ... (k - 5) / k!, whose first five terms are zero: the tail of a sum of terms that
        // cancel.
        {hyperdescent("-120 274 -225 85 -15 1", "0 1", kPlain),
         [](mpfr_t x) {
             direct_by_words(
                 x,
                 [](mpfr_t t, unsigned long k) {
                     for (long i = 1; i <= 5; i++) mpfr_mul_si(t, t, static_cast<long>(k) - i, kR);
                 },
                 [](unsigned long k) { return k; }, enough(x));
         }},
        // Rows of the built-in series
        {hypergeometric("15 -184 580", "225 -3240 14904 -23328 11664", "0 0 0 -32 64",
                        coefficients("1", "0", "2")),
         kCatalan},
        {hypergeometric("0 0 0 0 0 -77 -250 -205", "32 320 1280 2560 2560 1024", "0 0 0 0 0 -1",
                        coefficients("1", "77", "64")),
         kZeta3},
        {hypergeometric("0 0 0 0 0 -77 -250 -205", "32 320 1280 2560 2560 1024", "0 0 0 0 0 -1",
                        coefficients("1", "77", "64", "-1")),
         [](mpfr_t x) {
             kZeta3(x);
             inverse(x);
         }},
        // Sum of 0.7499^k / k = ln(10000 / 2501)
        {hypergeometric("7499", "0 10000", "0 7499", kPlain),
         [](mpfr_t x) {
             mpfr_set_ui(x, 10000, kR);
             mpfr_div_ui(x, x, 2501, kR);
             mpfr_log(x, x, kR);
         }},
        // And with signs
        {hypergeometric("7499", "0 10000", "0 -7499", kPlain),
         [](mpfr_t x) {
             mpfr_set_ui(x, 17499, kR);
             mpfr_div_ui(x, x, 10000, kR);
             mpfr_log(x, x, kR);
         }},
        {"{SeriesETaylor : {Alternating : \"false\" CoefficientP : 1 CoefficientQ : 2 CoefficientD : 1}}",
         [](mpfr_t x) { exp_of(x, 1); }},
        {"{SeriesETaylor : {Alternating : \"true\" Power : -1 CoefficientP : 3 CoefficientQ : 0 CoefficientD "
         ": "
         "7}}",
         [](mpfr_t x) {
             exp_of(x, 1);
             mpfr_mul_ui(x, x, 7, kR);
             mpfr_div_ui(x, x, 3, kR);
         }},
    };
    return list;
}

// n / (Pi square^(1/2)) - first
Want behind_the_first_term(unsigned long n, unsigned long square, unsigned long first) {
    return [=](mpfr_t x) {
        mpfr_t root;
        mpfr_init2(root, mpfr_get_prec(x));
        mpfr_sqrt_ui(root, square, kR);
        mpfr_const_pi(x, kR);
        mpfr_mul(x, x, root, kR);
        mpfr_ui_div(x, n, x, kR);
        mpfr_sub_ui(x, x, first, kR);
        mpfr_clear(root);
    };
}

std::vector<Case> built_in_series() {
    return {
        {"{Multiply : [{SeriesPiChudnovsky : {" + coefficients("1", "13591409", "4270934400", "-1") +
             "}} {Invsqrt : 10005}]}",
         kPi},
        {"{Multiply : [{SeriesPiRamanujan : {" + coefficients("1", "1103", "9801", "-1") +
             "}} {Invsqrt : 8}]}",
         kPi},
        {"{SeriesZeta3Wedeniwski : {" + coefficients("1", "12463", "10368") + "}}", kZeta3},
        {"{SeriesZeta3AZ1 : {" + coefficients("1", "77", "64") + "}}", kZeta3},
        {"{SeriesCatalanPilehoodShort : {" + coefficients("1", "0", "2") + "}}", kCatalan},
        {"{SeriesCatalanPilehoodLong : {" + coefficients("-1", "0", "2") + "}}", kCatalan},
        {"{SeriesCatalanGuillera2008 : {" + coefficients("1", "2", "2") + "}}", kCatalan},
        {"{SeriesCatalanGuillera2019 : {" + coefficients("-1", "0", "2") + "}}", kCatalan},
        // The sums alone, with other coefficients
        // The rest of a series for 1/Pi is small.
        {"{SeriesPiChudnovsky : {" + kPlain + "}}", behind_the_first_term(4270934400, 10005, 13591409), 80},
        {"{SeriesZeta3Wedeniwski : {" + kPlain + "}}",
         [](mpfr_t x) {
             kZeta3(x);
             mpfr_mul_ui(x, x, 10368, kR);
             mpfr_sub_ui(x, x, 12463, kR);
         },
         40},
        // 2 G and -2 G, or without its first terms
        {"{SeriesCatalanPilehoodShort : {" + coefficients("3", "0", "7", "-1") + "}}",
         [](mpfr_t x) {
             mpfr_const_catalan(x, kR);
             mpfr_mul_ui(x, x, 6, kR);
             mpfr_ui_div(x, 7, x, kR);
         }},
        {"{SeriesCatalanPilehoodLong : {" + coefficients("1", "5", "1") + "}}",
         [](mpfr_t x) {
             mpfr_const_catalan(x, kR);
             mpfr_mul_ui(x, x, 2, kR);
             mpfr_ui_sub(x, 5, x, kR);
         }},
        {"{SeriesCatalanGuillera2008 : {" + coefficients("2", "0", "3", "-1") + "}}",
         [](mpfr_t x) {
             mpfr_const_catalan(x, kR);
             mpfr_sub_ui(x, x, 1, kR);
             mpfr_mul_ui(x, x, 4, kR);
             mpfr_ui_div(x, 3, x, kR);
         }},
        {"{SeriesCatalanGuillera2019 : {" + coefficients("1", "0", "1", "-1") + "}}",
         [](mpfr_t x) {
             mpfr_const_catalan(x, kR);
             mpfr_mul_si(x, x, -2, kR);
             inverse(x);
         }},
        {"{SeriesZeta3AZ1 : {" + coefficients("-64", "3", "9223372036854775807", "-1") + "}}",
         [](mpfr_t x) {
             mpfr_t d;
             mpfr_init2(d, 64);
             mpfr_set_str(d, "9223372036854775807", 10, kR);
             kZeta3(x);
             mpfr_mul_ui(x, x, 64, kR);
             mpfr_sub_ui(x, x, 77, kR);
             mpfr_mul_si(x, x, -64, kR);
             mpfr_add_ui(x, x, 3, kR);
             mpfr_div(x, d, x, kR);
             mpfr_clear(d);
         },
         40},
        {"{SeriesPiRamanujan : {" + kPlain + "}}", behind_the_first_term(9801, 8, 1103), 40},
    };
}

void expect_cases(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        for (const u64 p : {3u, 60u, 4u, 17u}) {
            if (p != 60 && p != 3 && kalvor_test::thinned_under_wine_too(2) != 1) continue;
            expect_formula(c.text, p, 1 + p % 3, c.want, c.bits);
            if (testing::Test::HasFailure()) return;
        }
    }
}

TEST(SeriesNodesTest, UserSeries) {
    expect_cases(user_series());
}
TEST(SeriesNodesTest, BuiltInSeries) {
    expect_cases(built_in_series());
}
TEST(SlowSeriesNodesTest, AHundredThousandDigits) {
    for (const auto& list : {user_series(), built_in_series()}) {
        for (const u64 p : {521, 5193}) {
            for (const Case& c : list) expect_formula(c.text, p, 2, c.want, c.bits);
        }
    }
}

// The sum of k^1000 / k!, and of P with a thousand and one coefficients of any sign.
TEST(SeriesNodesTest, ADegreeOfAThousand) {
    std::string zeros, signs;
    for (int i = 0; i < 1000; i++) {
        zeros += "0 ";
        signs += std::to_string((i * i + 7) % 23 - 11) + " ";
    }
    constexpr u64 kPrecisions[] = {5, 40};
    for (unsigned i = 0; i < std::size(kPrecisions); i += kalvor_test::thinned_under_wine_too(2)) {
        const u64 p = kPrecisions[i];
        expect_formula(
            hyperdescent(zeros + "1", "0 1", kPlain), p, 2,
            [](mpfr_t x) {
                direct(
                    x, [](mpfr_t t, unsigned long k) { mpfr_ui_pow_ui(t, k, 1000, kR); },
                    [](mpfr_t t, unsigned long k) { mpfr_mul_ui(t, t, k, kR); }, 3000);
            },
            64);
        expect_formula(
            hypergeometric(signs + "1", "7 100", "1 1", kPlain), p, 1,
            [](mpfr_t x) {
                mpfr_t power, inner;
                mpfr_inits2(mpfr_get_prec(x), power, inner, nullptr);
                mpfr_set_ui(power, 1, kR);
                direct(
                    x,
                    [&](mpfr_t t, unsigned long k) {
                        mpfr_set_ui(t, 1, kR);
                        for (int i = 1000; i-- > 0;) {
                            mpfr_mul_ui(t, t, k, kR);
                            mpfr_add_si(t, t, (i * i + 7) % 23 - 11, kR);
                        }
                        // R(1) ... R(k - 1)
                        if (k > 1) mpfr_mul_ui(power, power, k, kR);
                        mpfr_mul(t, t, power, kR);
                    },
                    [](mpfr_t t, unsigned long k) { mpfr_mul_ui(t, t, 100 * k + 7, kR); }, 3500);
                mpfr_clears(power, inner, nullptr);
            },
            1000);
    }
}

// Every number of a series is as large as it can be written, of either sign.
TEST(SeriesNodesTest, TheLargestCoefficientsEverywhere) {
    const std::string c = "9223372036854775807", minus = "-" + c;
    const std::string P = c + " " + minus + " " + c, Q = c + " " + c;
    // (c S + c) / c and (-c S + c) / c of the sum of term(k) / down(1) ... down(k), where c has gone.
    const auto value = [](long sign, unsigned long terms, bool product,
                          const std::function<mpq_class(long)>& term) {
        return [=](mpfr_t x) {
            mpq_class sum, down = 1;
            for (unsigned long k = 1; k <= terms; k++) {
                if (product) down *= k + 1;
                sum += term(static_cast<long>(k)) / down;
            }
            sum = 1 + sign * sum;
            mpfr_set_q(x, sum.get_mpq_t(), kR);
        };
    };
    mpz_class large;
    mpz_ui_pow_ui(large.get_mpz_t(), 2, 63);
    large -= 1;
    const auto square = [](long k) { return mpq_class(k * k - k + 1); };
    const auto power = [](const mpz_class& base, long n) {
        mpz_class result;
        mpz_pow_ui(result.get_mpz_t(), base.get_mpz_t(), static_cast<unsigned long>(n));
        return result;
    };
    expect_formula(hyperdescent(P, Q, coefficients(minus, c, c)), 20, 2,
                   value(-1, 40, true, [=](long k) { return mpq_class(square(k) / power(large, k - 1)); }));
    expect_formula(
        hypergeometric(P, Q, minus, coefficients(c, c, c)), 20, 1,
        value(1, 300, true, [=](long k) { return mpq_class(k % 2 != 0 ? square(k) : -square(k)); }));
    expect_formula(bbp(P, Q, powers("true", -1, 0), coefficients(c, c, c, "-1")), 20, 2, [=](mpfr_t x) {
        value(1, 1700, false, [=](long k) {
            const mpq_class one = square(k) / (power(2, k) * (k + 1));
            return mpq_class(k % 2 == 0 ? one : mpq_class(-one));
        })(x);
        inverse(x);
    });
    expect_formula("{SeriesETaylor : {Alternating : \"true\" " + coefficients(minus, c, c) + "}}", 20, 1,
                   [](mpfr_t x) {
                       exp_of(x, -1);
                       mpfr_ui_sub(x, 1, x, kR);
                   });
    expect_formula("{SeriesZeta3AZ1 : {" + coefficients(c, minus, c) + "}}", 20, 1, [](mpfr_t x) {
        kZeta3(x);
        mpfr_mul_ui(x, x, 64, kR);
        mpfr_sub_ui(x, x, 78, kR);
    });
}

// What cancels widens the bound of the error, and never more than that.
TEST(SeriesNodesTest, SumsThatCancel) {
    // 10^18 (e - 1) - 1718281828459045235
    expect_formula(
        hyperdescent("1", "0 1", coefficients("1000000000000000000", "-1718281828459045235", "1")), 40, 2,
        [](mpfr_t x) {
            exp_of(x, 1);
            mpfr_sub_ui(x, x, 1, kR);
            mpfr_t c;
            mpfr_init2(c, 64);
            mpfr_set_str(c, "1000000000000000000", 10, kR);
            mpfr_mul(x, x, c, kR);
            mpfr_set_str(c, "1718281828459045235", 10, kR);
            mpfr_sub(x, x, c, kR);
            mpfr_clear(c);
        },
        90);
    // The sum of (k - 1) / k! is 1, less 1 is nothing; and of (k - 2) / 2^k, which is 0.
    for (const std::string& text : {hyperdescent("-1 1", "0 1", coefficients("1", "-1", "1")),
                                    bbp("-2 1", "0 1", powers("false", -1, 0), kPlain)}) {
        EvaluatorRun run(FormulaFactory(text), 30, 2);
        const trel::BigFloat x = run.value();
        ASSERT_FALSE(run.error.exact);
        const bool zero = text.find("BBP") == std::string::npos;
        if (zero) {
            EXPECT_TRUE(x.L == 0 || x.mag() <= -28) << x.mag();
        }
        EXPECT_LE(run.error.limit, (PowerOfTwo{-28, 0}));
    }
}

const std::string kQ = "PolynomialQ : [0 1]", kP = "PolynomialP : [1]";

std::string list_of(int n, int value) {
    std::string text;
    for (int i = 0; i < n; i++) text += std::to_string(value) + " ";
    return text;
}

// In the order of the checks: what stands behind a fault is not looked at.
TEST(SeriesNodesTest, RefusalsOfEverySeries) {
    const std::string rest = " PolynomialP : [] PolynomialQ : []";
    for (const std::string name :
         {"SeriesHyperdescent", "SeriesHypergeometric", "SeriesBinaryBBP", "SeriesETaylor",
          "SeriesPiChudnovsky", "SeriesPiRamanujan", "SeriesZeta3Wedeniwski", "SeriesZeta3AZ1",
          "SeriesCatalanPilehoodShort", "SeriesCatalanPilehoodLong", "SeriesCatalanGuillera2008",
          "SeriesCatalanGuillera2019"}) {
        const auto with = [&](const std::string& members) { return "{" + name + " : {" + members + "}}"; };
        const std::string where = name + "(): ";
        EXPECT_NE(refusal(with("Foo : 1 " + coefficients("1", "0", "1"))).find("Invalid Key: Foo"),
                  std::string::npos);
        EXPECT_EQ(refusal(with(coefficients("0", "0", "0", "0"))), where + "Power must be 1 or -1.");
        EXPECT_EQ(refusal(with(coefficients("0", "0", "0", "-2"))), where + "Power must be 1 or -1.");
        EXPECT_EQ(refusal(with(coefficients("0", "0", "0", "-1"))), where + "CoefficientP cannot be zero.");
        EXPECT_EQ(refusal(with(coefficients("1", "0", "0"))), where + "CoefficientD must be positive.");
        EXPECT_EQ(refusal(with(coefficients("1", "0", "-1"))), where + "CoefficientD must be positive.");
        EXPECT_EQ(refusal("{" + name + " : 1}").find("built"), std::string::npos);
    }
}

TEST(SeriesNodesTest, RefusalsOfPolynomials) {
    const struct {
        std::string text, want;
    } cases[] = {
        {bbp("", "", powers("true", 0, 1024), kPlain),
         "SeriesBinaryBBP(): PowerCoef must be in [-1024, -1]."},
        {bbp("", "", powers("true", 1, 0), kPlain), "SeriesBinaryBBP(): PowerCoef must be in [-1024, -1]."},
        {bbp("", "", powers("true", -1025, 0), kPlain),
         "SeriesBinaryBBP(): PowerCoef must be in [-1024, -1]."},
        {bbp("", "", powers("true", -1024, 1024), kPlain),
         "SeriesBinaryBBP(): PowerShift must be in [-1023, 1023]."},
        {bbp("", "", powers("true", -1024, -1024), kPlain),
         "SeriesBinaryBBP(): PowerShift must be in [-1023, 1023]."},
        {bbp("", list_of(64, 1), powers("true", -1, 0), kPlain),
         "SeriesBinaryBBP(): Polynomial degree limit is 62."},
        {bbp("", "1", powers("true", -1, 0), kPlain), "SeriesBinaryBBP_PolyData(): Polynomial P(x) is zero."},
        {bbp("1", "1", powers("true", -1, 0), kPlain),
         "SeriesBinaryBBP_PolyData(): Polynomial Q(x) must be degree 1 or higher."},
        {bbp("0", "1 0", powers("true", -1, 0), kPlain),
         "SeriesBinaryBBP_PolyData(): Polynomial P(x) has a zero top coefficient."},
        {bbp("1", "1 0", powers("true", -1, 0), kPlain),
         "SeriesBinaryBBP_PolyData(): Polynomial Q(x) has a zero top coefficient."},
        {bbp("1", "-3 1", powers("true", -1, 0), kPlain), "make_sizer(): Polynomial Q(x) is zero at x = 3."},
        {hyperdescent("", list_of(64, 1), kPlain), "SeriesHyperdescent(): Polynomial degree limit is 62."},
        {hyperdescent("", "", kPlain), "SeriesHyperdescent_PolyData(): Polynomial P(x) is zero."},
        {hyperdescent("0", "", kPlain),
         "SeriesHyperdescent_PolyData(): Polynomial Q(x) must be degree 1 or higher."},
        {hyperdescent("0", "0 0", kPlain),
         "SeriesHyperdescent_PolyData(): Polynomial P(x) has a zero top coefficient."},
        {hyperdescent("1", "-3 1", kPlain), "make_sizer(): Polynomial Q(x) is zero at x = 3."},
        {hypergeometric("", list_of(64, 1), list_of(64, 1), kPlain),
         "SeriesHypergeometric(): Polynomial degree limit is 62."},
        {hypergeometric("", "0 1", list_of(64, 1), kPlain),
         "SeriesHypergeometric(): Polynomial degree limit is 62."},
        {hypergeometric("", "", "", kPlain), "SeriesHypergeometric_PolyData(): Polynomial P(x) is zero."},
        {hypergeometric("1", "", "", kPlain), "SeriesHypergeometric_PolyData(): Polynomial R(x) is zero."},
        {hypergeometric("0", "1", "0", kPlain),
         "SeriesHypergeometric_PolyData(): Polynomial Q(x) must be degree 1 or higher."},
        {hypergeometric("1", "1 1", "1 0", kPlain),
         "SeriesHypergeometric_PolyData(): Polynomial R(x) has a zero top coefficient."},
        {hypergeometric("1", "0 10", "-2 1", kPlain), "make_sizer(): Polynomial R(x) is zero at x = 2."},
    };
    for (const auto& [text, want] : cases) EXPECT_EQ(refusal(text), want) << text;
    const std::string convergence =
        "SeriesHypergeometric_PolyData::enforce_convergence(): Series does not meet convergence "
        "requirements.\nRequirement: |R(x)/Q(x)| < 0.75  for all x >= 1\n\n";
    EXPECT_EQ(refusal(hypergeometric("1", "0 4", "3", kPlain)),
              convergence + "|R(x)/Q(x)| >= 0.75 at x = 1.");
    // R / Q = x / (x + 5/6) at 2.5
    EXPECT_EQ(refusal(hypergeometric("1", "5 6", "0 6", kPlain)),
              convergence + "R(x)/Q(x) >= 0.75 at or around x = 2.5.");
    EXPECT_EQ(refusal(hypergeometric("1", "5 6", "0 -6", kPlain)),
              convergence + "R(x)/Q(x) <= -0.75 at or around x = 2.5.");
    EXPECT_EQ(
        refusal("{SeriesETaylor : {Alternating : \"false\" " + coefficients("5", "1", "3", "-1") + "}}"),
        "SeriesETaylor(): Inversion not supported for non-alternating series.");
}

TEST(SeriesNodesTest, WhatIsAcceptedAtTheLimits) {
    for (const i64 coef : {-1, -1024}) {
        for (const i64 shift : {-1023, 1023}) {
            EXPECT_EQ(refusal(bbp("1", "0 1", powers("true", coef, shift), kPlain)), "built");
        }
    }
    EXPECT_EQ(refusal(hyperdescent("1", "-3 2", kPlain)), "built");
    const auto warnings = [](const std::string& text) {
        std::vector<std::string> said;
        try {
            said = built(text).warnings;
        } catch (const trel::StringException&) {
            return std::vector<std::string>{"refused"};
        }
        return said;
    };
    using Lines = std::vector<std::string>;
    EXPECT_EQ(warnings(hyperdescent("1", list_of(32, 1), kPlain)), Lines{});
    const Lines high = warnings(hyperdescent("1", list_of(33, 1), kPlain));
    ASSERT_FALSE(high.empty());
    EXPECT_EQ(high[0], "Warning: Q(x) is of very high degree. May take a while to process...");
    const Lines both = warnings(hypergeometric("1", list_of(34, 3), list_of(33, 1), kPlain));
    ASSERT_GE(both.size(), 2u);
    EXPECT_EQ(both[0], "Warning: Q(x) is of very high degree. May take a while to process...");
    EXPECT_EQ(both[1], "Warning: R(x) is of very high degree. May take a while to process...");
    for (const char* one : {"1", "-1"}) {
        EXPECT_EQ(warnings(hypergeometric("1", "1 1", one, kPlain)),
                  Lines{"Warning: |R(x)| = 1. Consider using SeriesHyperdescent instead."});
    }
    // One coefficient too many is warned of as well, before it is refused.
    std::vector<std::string> said;
    const auto tree = trel::Config::parse_acfg(hyperdescent("1", list_of(64, 1), kPlain) + " ");
    EXPECT_THROW(Formulas::build(*tree, [&](const std::string& w) { said.push_back(w); }),
                 trel::InvalidParametersException);
    EXPECT_EQ(said, Lines{"Warning: Q(x) is of very high degree. May take a while to process..."});
}

// A ratio of 1 / (k + 1): it runs all the same.
TEST(SeriesNodesTest, RunsWithARatioOfOne) {
    // 1/2! + 1/3! + ... = e - 2
    expect_formula(hypergeometric("1", "1 1", "1", kPlain), 40, 2, [](mpfr_t x) {
        exp_of(x, 1);
        mpfr_sub_ui(x, x, 2, kR);
    });
}

}  // namespace
