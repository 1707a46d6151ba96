// Roots, means, quotients and logarithms of values at precisions around every change of method: planned, then
// run in exactly the memory of the plan, with errors inside the bounds that they return.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <string>

#include "constants/formulas/sqrt_word_node.h"
#include "formula_support.h"
#include "reference/mpz_u64.h"

using namespace kalvor;
using kalvor_test::expect_formula;
using kalvor_test::expect_value;
using kalvor_test::kReferenceWords;
using trel::i64;
using trel::u64;
using trel::Word;

namespace {

constexpr u64 kPrecisions[] = {3, 4, 7, 9, 10, 11, 40, 100, 521};

TEST(SqrtWordNodeTest, Values) {
    for (const u64 p : kPrecisions) {
        for (const Word w : {Word(2), Word(10005), (Word(1) << 63) - 1}) {
            // floor(sqrt(w) 2^(64 (p + kReferenceWords)))
            const mpz_class want = sqrt(mpz_class(reference::mpz_of(w) << 128 * (p + kReferenceWords)));
            expect_value(Formulas::SqrtWordNode(w), p, 2, want, std::to_string(w));
        }
    }
}

TEST(AgmNodeTest, OfARoot) {
    for (const u64 p : kPrecisions) {
        for (const unsigned long w : {2, 10005}) {
            expect_formula("{AGM : {Sqrt : " + std::to_string(w) + "}}", p, 2, [w](mpfr_t x) {
                kalvor_test::Real one(1);
                mpfr_set_ui(one.x, 1, MPFR_RNDN);
                mpfr_sqrt_ui(x, w, MPFR_RNDN);
                mpfr_agm(x, one.x, x, MPFR_RNDN);
            });
        }
    }
}

TEST(QuotientTest, PiByARoot) {
    const std::string quotient = "{Divide : [{Pi : {}} {Sqrt : 7}]}";
    for (const u64 p : kPrecisions) {
        for (const long power : {0L, 1L, -1L}) {
            const std::string text =
                power == 0 ? quotient : "{Shift : [" + quotient + " " + std::to_string(power) + "]}";
            expect_formula(text, p, 1 + p % 2, [power](mpfr_t x) {
                kalvor_test::Real y(static_cast<u64>(mpfr_get_prec(x)) / 64);
                mpfr_const_pi(x, MPFR_RNDN);
                mpfr_sqrt_ui(y.x, 7, MPFR_RNDN);
                mpfr_div(x, x, y.x, MPFR_RNDN);
                mpfr_mul_2si(x, x, power, MPFR_RNDN);
            });
        }
    }
}

// ln x from Pi and ln 2 that stand in variables.
std::string logarithm(const std::string& x) {
    return "{Scope : {Locals : [{pi : {Pi : {}}} {two : {Log : 2}}] Formula : {Log-AGM : {Pi : \"pi\" Log2 : "
           "\"two\" Argument : " +
           x + "}}}}";
}

TEST(LogAgmNodeTest, LogarithmsOfValues) {
    for (const u64 p : kPrecisions) {
        expect_formula(logarithm("10"), p, 1, [](mpfr_t x) { mpfr_log_ui(x, 10, MPFR_RNDN); });
        expect_formula(logarithm("{Sqrt : 7}"), p, 2, [](mpfr_t x) {
            mpfr_log_ui(x, 7, MPFR_RNDN);
            mpfr_div_ui(x, x, 2, MPFR_RNDN);
        });
    }
}

// ln(1/3) < 0
TEST(LogAgmNodeTest, NegativeLogarithms) {
    for (const u64 p : kPrecisions) {
        expect_formula(logarithm("{Divide : [1 3]}"), p, 1, [](mpfr_t x) {
            mpfr_log_ui(x, 3, MPFR_RNDN);
            mpfr_neg(x, x, MPFR_RNDN);
        });
    }
}

}  // namespace
