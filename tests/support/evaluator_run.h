// Runs an evaluator in memory of exactly the size that it asks for, and holds its value and the bound of its
// error against a reference.
#pragma once

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "constants/evaluator/evaluator.h"
#include "reference/mpz_words.h"
#include "support/scratch.h"
#include "support/threads.h"

namespace kalvor_test {

// Words that references have beyond the precision.
inline constexpr trel::u64 kReferenceWords = 4;

struct EvaluatorRun {
    EvaluatorRun(const kalvor::EvaluatorFactory& factory, trel::u64 p, trel::u64 tds)
        : tasks(tds),
          evaluator(factory.make_evaluator({p, tds})),
          result(trel::round_up_8(evaluator->needs().result_words) * sizeof(trel::Word)),
          working(trel::round_up_64(evaluator->needs().bytes)) {}
    trel::BigFloat value(trel::Status& status = trel::null_status()) {
        trel::BigFloat x(result.words(), evaluator->needs().result_words);
        error = evaluator->run({{thread_framework(), tasks}, working.view(), nullptr}, status, x);
        return x;
    }

    trel::u64 tasks;
    std::unique_ptr<kalvor::Evaluator> evaluator;
    Scratch result, working;
    kalvor::ErrorBound error;
};

// |value - want 2^(-64 (p + kReferenceWords))| is within the bound of the run, which promises less than 2^16
// units of the word at 1 - p. want is right to one unit.
inline void expect_value(const kalvor::EvaluatorFactory& factory, trel::u64 p, trel::u64 tds,
                         const mpz_class& want, const std::string& what) {
    EvaluatorRun run(factory, p, tds);
    const trel::BigFloat x = run.value();
    ASSERT_TRUE(run.result.guards_intact() && run.working.guards_intact()) << what;
    ASSERT_TRUE(x.sign) << what;
    ASSERT_FALSE(run.error.exact) << what;
    ASSERT_LT(run.error.limit, (kalvor::PowerOfTwo{1 - static_cast<trel::i64>(p), 16})) << what;
    const trel::i64 bottom = -static_cast<trel::i64>(p + kReferenceWords);
    mpz_class difference = reference::magnitude_at(x, bottom) - want;
    difference = abs(difference);
    const trel::i64 bits = 64 * (run.error.limit.words - bottom) + run.error.limit.bits;
    ASSERT_GT(bits, 64) << what;
    mpz_class bound = 1;
    mpz_mul_2exp(bound.get_mpz_t(), bound.get_mpz_t(), static_cast<mp_bitcnt_t>(bits));
    // Both are rounded down.
    bound += 2;
    ASSERT_LE(difference, bound) << what;
}

}  // namespace kalvor_test
