#include "constants/builtin/log_machin.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include "base/status/linear_console_node.h"
#include "constants/builtin/log_formula.h"
#include "support/capture_console.h"
#include "support/effort.h"
#include "support/evaluator_run.h"
#include "support/masked.h"

using namespace kalvor;
using kalvor_test::EvaluatorRun;
using kalvor_test::expect_value;
using kalvor_test::kReferenceWords;
using kalvor_test::without_numbers_behind;
using trel::u64;

namespace {

constexpr LogFormulaKind kKinds[] = {LogFormulaKind::primary, LogFormulaKind::secondary};
constexpr u64 kArguments[] = {2, 3, 10, 11, 97, 251, 257, 1000003, 2147483647};

// floor(ln x 2^(64 words))
mpz_class logarithm(u64 x, u64 words) {
    mpfr_t y;
    mpfr_init2(y, static_cast<mpfr_prec_t>(64 * words + 128));
    mpfr_log_ui(y, static_cast<unsigned long>(x), MPFR_RNDN);
    mpfr_mul_2ui(y, y, static_cast<unsigned long>(64 * words), MPFR_RNDN);
    mpz_class z;
    mpfr_get_z(z.get_mpz_t(), y, MPFR_RNDD);
    mpfr_clear(y);
    return z;
}

std::string name(u64 x, LogFormulaKind kind, u64 p, u64 tds) {
    return "log(" + std::to_string(x) + ") " + (kind == LogFormulaKind::primary ? "primary" : "secondary") +
           " p=" + std::to_string(p) + " tds=" + std::to_string(tds);
}

void expect_both(u64 x, u64 p, u64 tds) {
    const mpz_class want = logarithm(x, p + kReferenceWords);
    for (const LogFormulaKind kind : kKinds) {
        expect_value(LogMachin(x, kind), p, tds, want, name(x, kind, p, tds));
        if (testing::Test::HasFatalFailure()) return;
    }
}

TEST(LogMachinTest, AllSmallPrecisions) {
    for (u64 p = 3; p <= 200; p += p < 40 ? 1 : kalvor_test::thinned(7)) {
        for (const u64 x : {u64(2), kArguments[p % 9]}) {
            expect_both(x, p, 1 + p % 3);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(LogMachinTest, ThousandsOfDigits) {
    for (const u64 x : kArguments) {
        for (const u64 p : {7, 54, 521}) {
            for (const u64 tds : {1, 2, 7}) {
                expect_both(x, p, tds);
                if (HasFatalFailure()) return;
            }
        }
    }
    for (const u64 tds : {1, 7}) expect_both(10, 5193, tds);
}

TEST(SlowLogMachinTest, AHundredThousandDigitsAndAMillion) {
    for (const u64 x : kArguments) expect_both(x, 5193, 2);
    for (const u64 x : {2, 10, 1000003}) expect_both(x, 51908, 2);
}

}  // namespace
