#include "constants/builtin/pi.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include <tuple>

#include "arith/multiply/algorithm_table.h"
#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"
#include "support/capture_console.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using trel::BigFloat;
using trel::i64;
using trel::MultiplyContext;
using trel::u64;

namespace {

// floor(Pi^power * 2^(64 words))
mpz_class reference_pi(int power, u64 words) {
    mpfr_t x;
    mpfr_init2(x, static_cast<mpfr_prec_t>(64 * words + 128));
    mpfr_const_pi(x, MPFR_RNDN);
    if (power < 0) mpfr_ui_div(x, 1, x, MPFR_RNDN);
    mpfr_mul_2ui(x, x, 64 * words, MPFR_RNDN);
    mpz_class z;
    mpfr_get_z(z.get_mpz_t(), x, MPFR_RNDD);
    mpfr_clear(x);
    return z;
}

// Words as the session asks for them.
u64 words_for(u64 digits) {
    const u64 hex =
        static_cast<u64>(static_cast<double>(digits) * 0.83048202372184058696757985737234754396620784825615) +
        1;
    return hex / 16 + 3;
}

// The computed value differs from the true one by less than 2^-(64 (p - 1)), and touches no memory but its
// own.
void check(PiAlgorithm algorithm, int power, u64 p, u64 tds) {
    const PiPlan plan(algorithm, power, p, tds);
    Scratch result(plan.result_words() * sizeof(trel::Word)), working(plan.working_bytes());
    BigFloat x(result.words(), plan.result_words());
    const MultiplyContext context{{thread_framework(), tds}, working.view(), nullptr};
    Pi_Series_BigFloatR::run(plan, context, trel::null_status(), x);
    ASSERT_TRUE(result.guards_intact() && working.guards_intact());
    ASSERT_TRUE(x.sign);
    ASSERT_EQ(x.mag(), power == 1 ? 1 : 0);
    ASSERT_GE(x.L, p);
    const mpz_class difference =
        reference::magnitude_at(x, -static_cast<i64>(p) - 4) - reference_pi(power, p + 4);
    ASSERT_LE(mpz_sizeinbase(difference.get_mpz_t(), 2), 64 * 5u)
        << "p=" << p << " algorithm=" << static_cast<int>(algorithm) << " power=" << power << " tds=" << tds;
}

bool available(u64 product_words) {
    return product_words <= trel::basic_table64().items().back().threshold_words;
}

class PiTest : public testing::TestWithParam<std::tuple<int, int, int>> {};

TEST_P(PiTest, AgreesWithTheReference) {
    const auto [algorithm, power, tds] = GetParam();
    for (const u64 digits : {100, 101, 119, 500, 1000, 2345, 10000, 100000}) {
        const u64 p = words_for(digits);
        if (!available(3 * p)) continue;
        check(static_cast<PiAlgorithm>(algorithm), power, p, tds);
        if (HasFatalFailure()) return;
    }
}
INSTANTIATE_TEST_SUITE_P(All, PiTest,
                         testing::Combine(testing::Values(0, 1, 2, 3), testing::Values(1, -1),
                                          testing::Values(1, 2, 7)));

}  // namespace
