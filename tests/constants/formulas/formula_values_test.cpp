// Values of formulas against MPFR, each computed in memory of exactly the planned size.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "formula_support.h"
#include "support/message_of.h"

using namespace kalvor;
using kalvor_test::built;
using kalvor_test::EvaluatorRun;
using kalvor_test::expect_formula;
using kalvor_test::Form;
using kalvor_test::FormulaFactory;
using kalvor_test::message_of;
using trel::i64;
using trel::u64;
using trel::Word;

namespace {

using Want = std::function<void(mpfr_t)>;
constexpr mpfr_rnd_t kR = MPFR_RNDN;

struct Case {
    std::string text;
    Want want;
};

void golden_ratio(mpfr_t x) {
    mpfr_sqrt_ui(x, 5, kR);
    mpfr_add_ui(x, x, 1, kR);
    mpfr_div_2ui(x, x, 1, kR);
}
void agm1_of_root(mpfr_t x, unsigned long n) {
    mpfr_t one;
    mpfr_init2(one, mpfr_get_prec(x));
    mpfr_set_ui(one, 1, kR);
    mpfr_sqrt_ui(x, n, kR);
    mpfr_agm(x, one, x, kR);
    mpfr_clear(one);
}
// x^(-1/n) for any n, by logarithms: mpfr_rootn_ui() takes a long, which is short on some systems.
void inverse_root(mpfr_t x, const char* n) {
    mpfr_t degree;
    mpfr_init2(degree, 64);
    mpfr_set_str(degree, n, 10, kR);
    mpfr_log(x, x, kR);
    mpfr_div(x, x, degree, kR);
    mpfr_neg(x, x, kR);
    mpfr_exp(x, x, kR);
    mpfr_clear(degree);
}
// 2 Pi / AGM(1, 2^(1/2))
void lemniscate(mpfr_t x) {
    mpfr_t pi;
    mpfr_init2(pi, mpfr_get_prec(x));
    mpfr_const_pi(pi, kR);
    agm1_of_root(x, 2);
    mpfr_div(x, pi, x, kR);
    mpfr_mul_2ui(x, x, 1, kR);
    mpfr_clear(pi);
}

template <unsigned long n>
void log_of(mpfr_t x) {
    mpfr_log_ui(x, n, kR);
}

// Every node once or more, by itself.
const std::vector<Case>& cases() {
    static const std::vector<Case> cases = {
        {"7", [](mpfr_t x) { mpfr_set_ui(x, 7, kR); }},
        {"-9223372036854775807", [](mpfr_t x) { mpfr_set_str(x, "-9223372036854775807", 10, kR); }},
        {"{Pi : {}}", [](mpfr_t x) { mpfr_const_pi(x, kR); }},
        {"{Pi : {Algorithm : \"ramanujan\" Power : -1}}",
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             mpfr_ui_div(x, 1, x, kR);
         }},
        {"{GoldenRatio : {}}", golden_ratio},
        {"{GoldenRatio : {Power : -1}}",
         [](mpfr_t x) {
             golden_ratio(x);
             mpfr_sub_ui(x, x, 1, kR);
         }},
        {"{Lemniscate : {}}", lemniscate},
        {"{Lemniscate : {Algorithm : \"gauss\"}}", lemniscate},
        {"{Lemniscate : {Algorithm : \"sebah\"}}", lemniscate},
        {"{Lemniscate : {Power : -1}}",
         [](mpfr_t x) {
             lemniscate(x);
             mpfr_ui_div(x, 1, x, kR);
         }},
        {"{E : {}}",
         [](mpfr_t x) {
             mpfr_set_ui(x, 1, kR);
             mpfr_exp(x, x, kR);
         }},
        {"{E : {Power : -1}}",
         [](mpfr_t x) {
             mpfr_set_si(x, -1, kR);
             mpfr_exp(x, x, kR);
         }},
        {"{Zeta3 : {}}", [](mpfr_t x) { mpfr_zeta_ui(x, 3, kR); }},
        {"{Zeta3 : {Algorithm : \"az\" Power : -1}}",
         [](mpfr_t x) {
             mpfr_zeta_ui(x, 3, kR);
             mpfr_ui_div(x, 1, x, kR);
         }},
        {"{Catalan : {}}", [](mpfr_t x) { mpfr_const_catalan(x, kR); }},
        {"{EulerGamma : {}}", [](mpfr_t x) { mpfr_const_euler(x, kR); }},
        {"{EulerGamma : {Algorithm : \"brent-original\"}}", [](mpfr_t x) { mpfr_const_euler(x, kR); }},
        {"{Catalan : {Algorithm : \"pilehrood-long\" Power : -1}}",
         [](mpfr_t x) {
             mpfr_const_catalan(x, kR);
             mpfr_ui_div(x, 1, x, kR);
         }},
        // 2 arccoth(3) = ln 2
        {"{ArcCoth : {x : 3 Coefficient : 2}}", [](mpfr_t x) { mpfr_const_log2(x, kR); }},
        {"{ArcCoth : {x : 3 Coefficient : -2 Power : -1}}",
         [](mpfr_t x) {
             mpfr_const_log2(x, kR);
             mpfr_si_div(x, -1, x, kR);
         }},
        {"{Log : 10}", [](mpfr_t x) { mpfr_log_ui(x, 10, kR); }},
        {"{Log : 2147483647}", [](mpfr_t x) { mpfr_log_ui(x, 2147483647, kR); }},
        {"{Log : {Pi : {}}}",
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             mpfr_log(x, x, kR);
         }},
        // Integers as values, by the mean
        {"{Log : {Integer : 2}}", log_of<2>},
        {"{Log : {Integer : 3}}", log_of<3>},
        {"{Log : {Integer : 10}}", log_of<10>},
        {"{Log : {Integer : 11}}", log_of<11>},
        {"{Log : {Integer : 97}}", log_of<97>},
        {"{Log : {Integer : 251}}", log_of<251>},
        {"{Log : {Integer : 257}}", log_of<257>},
        {"{Log : {Integer : 1000003}}", log_of<1000003>},
        {"{Log : {Integer : 2147483647}}", log_of<2147483647>},
        // Below one, and far away
        {"{Log : {Shift : [{Sqrt : 3} -1]}}",
         [](mpfr_t x) {
             mpfr_sqrt_ui(x, 3, kR);
             mpfr_div_2ui(x, x, 1, kR);
             mpfr_log(x, x, kR);
         }},
        {"{Log : {Shift : [3 1000000]}}",
         [](mpfr_t x) {
             mpfr_set_ui(x, 3, kR);
             mpfr_mul_2ui(x, x, 1000000, kR);
             mpfr_log(x, x, kR);
         }},
        {"{Scope : {Locals : [{pi : {Pi : {}}} {two : {Log : 2}}] Formula : "
         "{Log-AGM : {Pi : \"pi\" Log2 : \"two\" Argument : {Multiply : [\"pi\" \"pi\"]}}}}}",
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             mpfr_log(x, x, kR);
             mpfr_mul_2ui(x, x, 1, kR);
         }},
        // Gauss's formula with coefficients of both signs: 5.244... / 4 = 2 asl(1/2) + asl(7/23)
        {"{LinearCombination : [[-1 {ArcSinlemn : {x : 1 y : 2 Coefficient : -8}}]"
         " [1 {ArcSinlemn : {x : 7 y : 23 Coefficient : 4}}]]}",
         lemniscate},
        // A value, then its inverse
        {"{Multiply : [{ArcSinlemn : {x : 2 y : 3 Coefficient : -3 Power : -1}} {ArcSinlemn : {x : 2 y : "
         "3}}]}",
         [](mpfr_t x) {
             mpfr_set_si(x, -1, kR);
             mpfr_div_ui(x, x, 3, kR);
         }},
        {"{Shift : [{Pi : {}} 1000]}",
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             mpfr_mul_2ui(x, x, 1000, kR);
         }},
        {"{Shift : [{Pi : {}} -64]}",
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             mpfr_div_2ui(x, x, 64, kR);
         }},
        {"{Shift : [-3 70]}",
         [](mpfr_t x) {
             mpfr_set_si(x, -3, kR);
             mpfr_mul_2ui(x, x, 70, kR);
         }},
        {"{Multiply : [{Pi : {}} {Sqrt : 2} -3]}",
         [](mpfr_t x) {
             mpfr_t y;
             mpfr_init2(y, mpfr_get_prec(x));
             mpfr_const_pi(x, kR);
             mpfr_sqrt_ui(y, 2, kR);
             mpfr_mul(x, x, y, kR);
             mpfr_mul_si(x, x, -3, kR);
             mpfr_clear(y);
         }},
        {"{Divide : [{Pi : {}} -7]}",
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             mpfr_div_si(x, x, -7, kR);
         }},
        {"{Divide : [-1 9223372036854775807]}",
         [](mpfr_t x) {
             mpfr_t d;
             mpfr_init2(d, 64);
             mpfr_set_str(d, "-9223372036854775807", 10, kR);
             mpfr_ui_div(x, 1, d, kR);
             mpfr_clear(d);
         }},
        {"{Divide : [{Sqrt : 3} {Pi : {}}]}",
         [](mpfr_t x) {
             mpfr_t y;
             mpfr_init2(y, mpfr_get_prec(x));
             mpfr_const_pi(y, kR);
             mpfr_sqrt_ui(x, 3, kR);
             mpfr_div(x, x, y, kR);
             mpfr_clear(y);
         }},
        {"{Power : [{Pi : {}} 2]}",
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             mpfr_sqr(x, x, kR);
         }},
        {"{Power : [{Pi : {}} 1]}", [](mpfr_t x) { mpfr_const_pi(x, kR); }},
        {"{Power : [{Pi : {}} -13]}",
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             mpfr_pow_si(x, x, -13, kR);
         }},
        {"{Power : [-3 1001]}",
         [](mpfr_t x) {
             mpfr_set_si(x, -3, kR);
             mpfr_pow_si(x, x, 1001, kR);
         }},
        {"{Power : [12 -77]}",
         [](mpfr_t x) {
             mpfr_set_si(x, 12, kR);
             mpfr_pow_si(x, x, -77, kR);
         }},
        {"{Power : [-2 -5]}",
         [](mpfr_t x) {
             mpfr_set_si(x, -1, kR);
             mpfr_div_2ui(x, x, 5, kR);
         }},
        {"{LinearCombination : [[3 {Pi : {}}] [-2 {Sqrt : 2}] [1 -5] [0 {Sqrt : 7}]]}",
         [](mpfr_t x) {
             mpfr_t y;
             mpfr_init2(y, mpfr_get_prec(x));
             mpfr_const_pi(x, kR);
             mpfr_mul_ui(x, x, 3, kR);
             mpfr_sqrt_ui(y, 8, kR);
             mpfr_sub(x, x, y, kR);
             mpfr_sub_ui(x, x, 5, kR);
             mpfr_clear(y);
         }},
        {"{LinearCombination : [[9223372036854775807 {Pi : {}}]]}",
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             mpfr_t c;
             mpfr_init2(c, 64);
             mpfr_set_str(c, "9223372036854775807", 10, kR);
             mpfr_mul(x, x, c, kR);
             mpfr_clear(c);
         }},
        {"{Invsqrt : 2}",
         [](mpfr_t x) {
             mpfr_set_ui(x, 2, kR);
             mpfr_rec_sqrt(x, x, kR);
         }},
        {"{Sqrt : 9223372036854775807}",
         [](mpfr_t x) {
             mpfr_set_str(x, "9223372036854775807", 10, kR);
             mpfr_sqrt(x, x, kR);
         }},
        {"{Invsqrt : {Pi : {}}}",
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             mpfr_rec_sqrt(x, x, kR);
         }},
        {"{Sqrt : {Pi : {}}}",
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             mpfr_sqrt(x, x, kR);
         }},
        {"{Sqrt : {Shift : [1 7]}}", [](mpfr_t x) { mpfr_sqrt_ui(x, 128, kR); }},
        {"{InvNthRoot : [3 {Pi : {}}]}",
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             mpfr_rootn_ui(x, x, 3, kR);
             mpfr_ui_div(x, 1, x, kR);
         }},
        {"{InvNthRoot : [100 7]}",
         [](mpfr_t x) {
             mpfr_set_ui(x, 7, kR);
             mpfr_rootn_ui(x, x, 100, kR);
             mpfr_ui_div(x, 1, x, kR);
         }},
        {"{InvNthRoot : [4294967297 7]}",
         [](mpfr_t x) {
             mpfr_set_ui(x, 7, kR);
             inverse_root(x, "4294967297");
         }},
        {"{InvNthRoot : [9223372036854775807 {Shift : [1 1000]}]}",
         [](mpfr_t x) {
             mpfr_set_ui_2exp(x, 1, 1000, kR);
             inverse_root(x, "9223372036854775807");
         }},
        {"{AGM : {Sqrt : 2}}", [](mpfr_t x) { agm1_of_root(x, 2); }},
        {"{AGM : [{Pi : {}} 5]}",
         [](mpfr_t x) {
             mpfr_t y;
             mpfr_init2(y, mpfr_get_prec(x));
             mpfr_const_pi(x, kR);
             mpfr_set_ui(y, 5, kR);
             mpfr_agm(x, x, y, kR);
             mpfr_clear(y);
         }},
        // ln 3 from ln 2 = ln(2^100) / 100 would be a circle: two means with the same constants
        {"{Scope : {Locals : [{pi : {Pi : {}}} {zero : 0}] Formula : {LinearCombination : "
         "[[1 {Log-AGM : {Pi : \"pi\" Log2 : \"zero\" Argument : 12}}]"
         " [-1 {Log-AGM : {Pi : \"pi\" Log2 : \"zero\" Argument : 4}}]]}}}",
         [](mpfr_t x) { mpfr_log_ui(x, 3, kR); }},
        // One variable by itself is a square; a variable of an outer scope is seen inside, and hidden there.
        {"{Scope : {Locals : [{x : {Pi : {}}}] Formula : {Multiply : [\"x\" \"x\"]}}}",
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             mpfr_sqr(x, x, kR);
         }},
        {"{Scope : {Locals : [{x : {Pi : {}}} {y : {Shift : [\"x\" 1]}} {unread : {Sqrt : 3}}] Formula : "
         "{Scope : {Locals : [{x : {Sqrt : \"y\"}}] Formula : {Divide : [\"y\" \"x\"]}}}}}",
         [](mpfr_t x) {
             mpfr_const_pi(x, kR);
             mpfr_mul_2ui(x, x, 1, kR);
             mpfr_sqrt(x, x, kR);
         }},
        {"{Scope : {Locals : {x : {Pi : {}}} Formula : \"x\"}}", [](mpfr_t x) { mpfr_const_pi(x, kR); }},
    };
    return cases;
}

TEST(FormulaValuesTest, EveryNode) {
    for (const Case& each : cases()) {
        for (const u64 p : {6, 11, 54}) expect_formula(each.text, p, 1 + p % 2, each.want);
    }
}

TEST(SlowFormulaValuesTest, EveryNodeToTenThousandDigits) {
    for (const Case& each : cases()) expect_formula(each.text, 520, 2, each.want);
}

TEST(SlowFormulaValuesTest, EveryNodeToAHundredThousandDigits) {
    for (const Case& each : cases()) expect_formula(each.text, 5192, 2, each.want);
}

TEST(SlowFormulaValuesTest, ALogarithmOfAValueToAMillionDigits) {
    expect_formula("{Log : {Shift : [11 -3]}}", 51908, 2, [](mpfr_t x) {
        mpfr_set_d(x, 1.375, kR);
        mpfr_log(x, x, kR);
    });
}

// Every function that takes values, around every one, around every one, on a value above 1.
TEST(FormulaValuesTest, NestedThreeDeepInExactMemory) {
    struct Function {
        std::string before, after;
        std::function<void(mpfr_t)> apply;
    };
    const auto with_root = [](void (*f)(mpfr_t, mpfr_t)) {
        return [f](mpfr_t x) {
            mpfr_t y;
            mpfr_init2(y, mpfr_get_prec(x));
            mpfr_sqrt_ui(y, 2, kR);
            f(x, y);
            mpfr_clear(y);
        };
    };
    const std::vector<Function> functions = {
        {"{Shift : [", " 3]}", [](mpfr_t x) { mpfr_mul_2ui(x, x, 3, kR); }},
        {"{Multiply : [", " {Sqrt : 2}]}", with_root([](mpfr_t x, mpfr_t y) { mpfr_mul(x, x, y, kR); })},
        {"{Divide : [", " 3]}", [](mpfr_t x) { mpfr_div_ui(x, x, 3, kR); }},
        {"{Divide : [{Sqrt : 2} ", "]}", with_root([](mpfr_t x, mpfr_t y) { mpfr_div(x, y, x, kR); })},
        {"{Power : [", " -3]}", [](mpfr_t x) { mpfr_pow_si(x, x, -3, kR); }},
        {"{LinearCombination : [[5 ", "] [7 {Sqrt : 2}]]}", with_root([](mpfr_t x, mpfr_t y) {
             mpfr_mul_ui(x, x, 5, kR);
             mpfr_mul_ui(y, y, 7, kR);
             mpfr_add(x, x, y, kR);
         })},
        {"{Log : {Shift : [", " 40]}}",
         [](mpfr_t x) {
             mpfr_mul_2ui(x, x, 40, kR);
             mpfr_log(x, x, kR);
         }},
        {"{Invsqrt : ", "}", [](mpfr_t x) { mpfr_rec_sqrt(x, x, kR); }},
        {"{Sqrt : ", "}", [](mpfr_t x) { mpfr_sqrt(x, x, kR); }},
        {"{InvNthRoot : [5 ", "]}",
         [](mpfr_t x) {
             mpfr_rootn_ui(x, x, 5, kR);
             mpfr_ui_div(x, 1, x, kR);
         }},
        {"{AGM : ", "}",
         [](mpfr_t x) {
             mpfr_t y;
             mpfr_init2(y, mpfr_get_prec(x));
             mpfr_set_ui(y, 1, kR);
             mpfr_agm(x, y, x, kR);
             mpfr_clear(y);
         }},
        {"{AGM : [{Sqrt : 2} ", "]}", with_root([](mpfr_t x, mpfr_t y) { mpfr_agm(x, y, x, kR); })},
        {"{Scope : {Locals : [{x : ", "}] Formula : {LinearCombination : [[1 \"x\"] [1 \"x\"]]}}}",
         [](mpfr_t x) { mpfr_mul_2ui(x, x, 1, kR); }},
    };
    for (const Function& a : functions) {
        for (const Function& b : functions) {
            for (const Function& c : functions) {
                expect_formula(a.before + b.before + c.before + "{Pi : {}}" + c.after + b.after + a.after, 12,
                               1, [&](mpfr_t x) {
                                   mpfr_const_pi(x, kR);
                                   c.apply(x);
                                   b.apply(x);
                                   a.apply(x);
                               });
            }
        }
    }
}

// ---- what cancels

ErrorBound error_of(const std::string& text, u64 p, bool& zero) {
    const FormulaFactory formula(text);
    EvaluatorRun run(formula, p, 1);
    zero = run.value().L == 0;
    return run.error;
}

TEST(FormulaValuesTest, CancelledWordsAreInTheBound) {
    bool zero = false;
    // (Pi + 2^-640) - Pi: ten words cancel, and 40 are known behind the point as before.
    const std::string text =
        "{LinearCombination : [[1 {LinearCombination : [[1 {Pi : {}}] [1 {Shift : [1 -640]}]]}]"
        " [-1 {Pi : {Algorithm : \"ramanujan\"}}]]}";
    const ErrorBound error = error_of(text, 40, zero);
    EXPECT_FALSE(zero);
    EXPECT_FALSE(error.exact);
    EXPECT_LE(error.limit, (PowerOfTwo{-39, 20}));
    EXPECT_GE(error.limit, (PowerOfTwo{-44, 0}));
    expect_formula(
        text, 40, 1, [](mpfr_t x) { mpfr_set_ui_2exp(x, 1, -640, kR); }, 20 + 64 * 10);
}

// 2, of which ten words are lost.
const char* const kLossy =
    "{Shift : [{LinearCombination : [[1 {LinearCombination : [[1 {Pi : {}}] [1 {Shift : [1 -640]}]]}]"
    " [-1 {Pi : {Algorithm : \"ramanujan\"}}]]} 641]}";

// The text with the lossy value as "c" and the square root of 3 as "r". Variables are taken in the order of
// the text.
std::string of_lossy(const std::string& text) {
    return std::string("{Scope : {Locals : [{c : ") + kLossy + "} {r : {Sqrt : 3}}] Formula : " + text + "}}";
}

// Whatever a node makes of a value, and wherever the value stands among its arguments, the words that it has
// lost are lost from the result.
TEST(FormulaValuesTest, LostWordsReachTheResultOfEveryNode) {
    const auto times_root = [](unsigned long factor) {
        return [factor](mpfr_t x) {
            mpfr_sqrt_ui(x, 3, kR);
            mpfr_mul_ui(x, x, factor, kR);
        };
    };
    const struct {
        const char* text;
        std::function<void(mpfr_t)> want;
    } cases[] = {
        {"{Multiply : [\"c\" \"r\" 5]}", times_root(10)},
        {"{Multiply : [\"c\" 5 \"r\"]}", times_root(10)},
        {"{Multiply : [\"r\" \"c\" 5]}", times_root(10)},
        {"{Multiply : [5 \"c\" \"r\"]}", times_root(10)},
        {"{Multiply : [\"r\" 5 \"c\"]}", times_root(10)},
        {"{Multiply : [\"c\" 5 7]}", [](mpfr_t x) { mpfr_set_ui(x, 70, kR); }},
        {"{Multiply : [\"c\" \"c\" \"r\" 3 5 7]}", times_root(420)},
        {"{LinearCombination : [[3 \"c\"] [1 5] [1 7]]}", [](mpfr_t x) { mpfr_set_ui(x, 18, kR); }},
        {"{LinearCombination : [[1 5] [3 \"c\"] [1 7]]}", [](mpfr_t x) { mpfr_set_ui(x, 18, kR); }},
        {"{LinearCombination : [[1 5] [1 7] [3 \"c\"]]}", [](mpfr_t x) { mpfr_set_ui(x, 18, kR); }},
        {"{Divide : [\"c\" 7]}",
         [](mpfr_t x) {
             mpfr_set_ui(x, 2, kR);
             mpfr_div_ui(x, x, 7, kR);
         }},
        {"{Divide : [\"c\" \"r\"]}",
         [](mpfr_t x) {
             mpfr_sqrt_ui(x, 3, kR);
             mpfr_ui_div(x, 2, x, kR);
         }},
        {"{Divide : [\"r\" \"c\"]}",
         [](mpfr_t x) {
             mpfr_sqrt_ui(x, 3, kR);
             mpfr_div_ui(x, x, 2, kR);
         }},
        {"{Power : [\"c\" 5]}", [](mpfr_t x) { mpfr_set_ui(x, 32, kR); }},
        {"{Power : [\"c\" -1]}", [](mpfr_t x) { mpfr_set_d(x, 0.5, kR); }},
        {"{Sqrt : \"c\"}", [](mpfr_t x) { mpfr_sqrt_ui(x, 2, kR); }},
        {"{Invsqrt : \"c\"}",
         [](mpfr_t x) {
             mpfr_sqrt_ui(x, 2, kR);
             mpfr_ui_div(x, 1, x, kR);
         }},
        {"{InvNthRoot : [3 \"c\"]}",
         [](mpfr_t x) {
             mpfr_set_ui(x, 2, kR);
             mpfr_cbrt(x, x, kR);
             mpfr_ui_div(x, 1, x, kR);
         }},
        {"{AGM : \"c\"}", [](mpfr_t x) { agm1_of_root(x, 4); }},
        {"{AGM : [\"c\" 1]}", [](mpfr_t x) { agm1_of_root(x, 4); }},
        {"{AGM : [1 \"c\"]}", [](mpfr_t x) { agm1_of_root(x, 4); }},
        {"{Log : \"c\"}", [](mpfr_t x) { mpfr_const_log2(x, kR); }},
        {"{Scope : {Locals : [{pi : {Pi : {}}} {l : {Log : 2}}] Formula : "
         "{Log-AGM : {Pi : \"pi\" Log2 : \"l\" Argument : \"c\"}}}}",
         [](mpfr_t x) { mpfr_const_log2(x, kR); }},
    };
    for (const auto& c : cases) {
        const std::string text = of_lossy(c.text);
        expect_formula(text, 40, 1, c.want, 40 + 64 * 10);
        bool zero = false;
        const ErrorBound error = error_of(text, 40, zero);
        EXPECT_FALSE(error.exact) << text;
        // Of 40 words 30 are left, and the few that plans add to them.
        EXPECT_GE(error.limit, (PowerOfTwo{-35, 0})) << text;
    }
}

TEST(FormulaValuesTest, LargeCoefficientsThatCancel) {
    // 2^62 (Pi - Pi) + 1: the plan has the words for the coefficients.
    expect_formula(
        "{LinearCombination : [[4611686018427387904 {Pi : {}}]"
        " [-4611686018427387904 {Pi : {Algorithm : \"ramanujan\"}}] [1 1]]}",
        20, 1, [](mpfr_t x) { mpfr_set_ui(x, 1, kR); });
}

TEST(FormulaValuesTest, NothingIsLeft) {
    bool zero = false;
    EXPECT_TRUE(error_of("{LinearCombination : [[1 3] [-1 3]]}", 10, zero).exact);
    EXPECT_TRUE(zero);
    EXPECT_TRUE(error_of("{LinearCombination : [[0 {Pi : {}}]]}", 10, zero).exact);
    EXPECT_TRUE(zero);
    const std::string same =
        "{Scope : {Locals : [{x : {Pi : {}}}] Formula : "
        "{LinearCombination : [[1 \"x\"] [-1 \"x\"]]}}}";
    EXPECT_LE(error_of(same, 10, zero).limit, (PowerOfTwo{-9, 20}));
    EXPECT_TRUE(zero);
    // Nothing is known of a quotient by it.
    EXPECT_THROW(error_of("{Divide : [1 " + same + "]}", 10, zero), trel::ArithmeticException);
}

// ---- exponents

std::string thrown_by(const std::string& text, Form form) {
    return message_of<trel::StringException>(form, [&] {
        const FormulaFactory formula(text);
        EvaluatorRun(formula, 8, 1).value();
    });
}

TEST(FormulaValuesTest, ExponentsNeverWrap) {
    const auto thrown = [](const std::string& text) { return thrown_by(text, Form::with_type); };
    const std::string huge = "{Shift : [{Pi : {}} 9223372036854775807]}";
    EXPECT_EQ(thrown(huge), "nothing thrown");
    std::string x = huge;
    // Each adds 2^57 words.
    for (int i = 0; i < 20; i++) x = "{Shift : [" + x + " 9223372036854775807]}";
    EXPECT_EQ(thrown(x), "ExponentOverflowException|Shift()|");
    std::string y = "{Shift : [{Pi : {}} -9223372036854775807]}";
    for (int i = 0; i < 20; i++) y = "{Shift : [" + y + " -9223372036854775807]}";
    EXPECT_EQ(thrown(y), "ExponentOverflowException|Shift()|");
    std::string z = huge;
    for (int i = 0; i < 5; i++)
        z = "{Scope : {Locals : [{x : " + z + "}] Formula : {Multiply : [\"x\" \"x\"]}}}";
    EXPECT_EQ(thrown(z), "ExponentOverflowException|Multiply()|");
    std::string quotient = "{Divide : [" + huge + " {Shift : [{Pi : {}} -9223372036854775807]}]}";
    for (int i = 0; i < 15; i++)
        quotient = "{Divide : [" + quotient + " {Shift : [{Pi : {}} -9223372036854775807]}]}";
    EXPECT_EQ(thrown(quotient), "ExponentOverflowException|Divide()|");
    EXPECT_NE(thrown("{Power : [" + huge + " 100]}").find("ExponentOverflowException"), std::string::npos);
    EXPECT_EQ(thrown("{Power : [3 9223372036854775807]}"), "nothing thrown");
}

// ---- what fails at run time

TEST(FormulaValuesTest, RefusalsOfARun) {
    const auto refusal = [](const std::string& text) { return thrown_by(text, Form::message); };
    EXPECT_EQ(refusal("{Divide : [1 {Shift : [0 1]}]}"), "Divide by zero.");
    EXPECT_EQ(refusal("{Power : [0 -3]}"), "Divide by zero.");
    EXPECT_EQ(refusal("{Power : [{Shift : [0 1]} -3]}"), "Divide by zero.");
    EXPECT_EQ(refusal("{Invsqrt : {Shift : [0 1]}}"), "Divide by zero.");
    EXPECT_EQ(refusal("{Invsqrt : {Shift : [-2 1]}}"), "Square root of negative number.");
    EXPECT_EQ(refusal("{Sqrt : {Shift : [-2 1]}}"), "Square root of negative number.");
    EXPECT_EQ(refusal("{InvNthRoot : [3 -2]}"), "Nth root of negative number.");
    EXPECT_EQ(refusal("{InvNthRoot : [3 0]}"), "Divide by zero.");
    EXPECT_EQ(refusal("{AGM : -2}"), "AGM of negative number.");
    EXPECT_EQ(refusal("{AGM : [2 -2]}"), "One of the inputs is negative.");
    const std::string log =
        "{Scope : {Locals : [{pi : {Pi : {}}} {l : 1}] Formula : "
        "{Log-AGM : {Pi : \"pi\" Log2 : \"l\" Argument : ";
    EXPECT_EQ(refusal(log + "-2}}}}"), "Log of a negative number is complex.");
    EXPECT_EQ(refusal(log + "0}}}}"), "Log(0) is negative infinity.");
}

TEST(FormulaValuesTest, ZerosThatAreValues) {
    bool zero = false;
    for (const char* text : {"{Sqrt : {Shift : [0 1]}}", "{AGM : 0}", "{AGM : [0 2]}", "{Power : [0 3]}",
                             "{Multiply : [0 {Pi : {}}]}", "{Divide : [0 {Pi : {}}]}", "{Divide : [0 7]}"}) {
        EXPECT_TRUE(error_of(text, 10, zero).exact) << text;
        EXPECT_TRUE(zero) << text;
    }
}

// ---- memory

u64 peak_words(const std::string& text, u64 p) {
    return FormulaFactory(text).make_evaluator({p, 1})->needs().bytes / sizeof(Word);
}

// A local's words are free after its last reader: a chain of locals takes no more than two of them.
TEST(FormulaValuesTest, LocalsAreFreedAfterTheirLastReader) {
    const auto chain = [](int n) {
        std::string locals = "{x0 : {Sqrt : 2}}";
        for (int i = 1; i < n; i++) {
            locals += "{x" + std::to_string(i) + " : {Shift : [\"x" + std::to_string(i - 1) + "\" 1]}}";
        }
        return "{Scope : {Locals : [" + locals + "] Formula : \"x" + std::to_string(n - 1) + "\"}}";
    };
    EXPECT_LE(peak_words(chain(40), 1000), peak_words(chain(3), 1000) + 64);
}

TEST(FormulaValuesTest, TermsOfASumTakeTheMemoryOfOne) {
    const auto sum = [](int n) {
        std::string terms;
        for (int i = 0; i < n; i++) terms += "[1 {Sqrt : 2}]";
        return "{LinearCombination : [" + terms + "]}";
    };
    EXPECT_LE(peak_words(sum(100), 1000), peak_words(sum(2), 1000) + 8);
}

// A child that takes much and leaves little comes first, wherever it stands.
TEST(FormulaValuesTest, OrderOfChildrenDoesNotMatterToThePeak) {
    const std::string mean = "{AGM : {Sqrt : 2}}", root = "{Sqrt : 3}";
    EXPECT_EQ(peak_words("{Divide : [" + mean + " " + root + "]}", 5000),
              peak_words("{Divide : [" + root + " " + mean + "]}", 5000));
    EXPECT_EQ(peak_words("{Multiply : [" + mean + " " + root + " " + root + "]}", 5000),
              peak_words("{Multiply : [" + root + " " + root + " " + mean + "]}", 5000));
}

TEST(FormulaValuesTest, AHundredThousandTerms) {
    std::string terms;
    for (int i = 0; i < 100000; i++) terms += "[" + std::to_string(i % 7 - 2) + " " + std::to_string(i) + "]";
    i64 sum = 0;
    for (i64 i = 0; i < 100000; i++) sum += (i % 7 - 2) * i;
    const auto formula = built("{LinearCombination : [" + terms + "]}");
    EXPECT_EQ(formula.warnings,
              std::vector<std::string>{"Really?!?! You're gonna make me sum up 100000 elements?"});
    expect_formula("{LinearCombination : [" + terms + "]}", 10, 1,
                   [&](mpfr_t x) { mpfr_set_str(x, std::to_string(sum).c_str(), 10, kR); });
}

// A kilobyte and more for every node, which a formula of very many terms takes whatever its precision.
TEST(FormulaValuesTest, ThePlanOfALongFormulaIsAnnounced) {
    std::string terms;
    for (int i = 0; i < 10000; i++) terms += "[1 1]";
    const auto of = [](const std::string& text) {
        return FormulaFactory(text).make_evaluator({10, 1})->plan_bytes();
    };
    EXPECT_GE(of("{LinearCombination : [" + terms + "]}"), 10001u * 1100);
    EXPECT_LT(of("{LinearCombination : [[1 1][1 1]]}"), 10000u);
}

// The result's buffer serves for what waits: a quotient takes no more than the value that takes most of it.
TEST(FormulaValuesTest, ValuesWaitInTheResult) {
    const std::string mean = "{AGM : {Sqrt : 2}}";
    EXPECT_LE(peak_words("{Divide : [{Pi : {}} " + mean + "]}", 50000), peak_words(mean, 50000) + 64);
}

TEST(FormulaValuesTest, PhasesOfARun) {
    const auto phases = [](const std::string& text) {
        std::string names;
        for (const trel::WorkPhase& phase : FormulaFactory(text).make_evaluator({60, 1})->work())
            names += phase.name + ";";
        return names;
    };
    EXPECT_EQ(phases("{Divide : [{Sqrt : 2} {Multiply : [{Sqrt : 3} {Sqrt : 5}]}]}"),
              "square root;square root;multiplication;square root;division;");
    std::string terms;
    for (int i = 0; i < 100; i++) terms += "[1 {Power : [{Sqrt : 2} 3]}]";
    EXPECT_EQ(phases("{LinearCombination : [" + terms + "]}"), "square root;power;");
}

// A run leaves nothing behind: the next one is the same.
TEST(FormulaValuesTest, RunsRepeat) {
    const FormulaFactory formula(
        "{Scope : {Locals : [{x : {Pi : {}}}] Formula : {Multiply : [\"x\" \"x\" 3]}}}");
    EvaluatorRun run(formula, 30, 1);
    const trel::BigFloat first = run.value();
    const std::vector<Word> words(first.T, first.T + first.L);
    const trel::BigFloat second = run.value();
    EXPECT_EQ(words, std::vector<Word>(second.T, second.T + second.L));
    EXPECT_EQ(first.exp, second.exp);
}

}  // namespace
