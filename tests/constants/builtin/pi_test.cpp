#include "constants/builtin/pi.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include <tuple>

#include "arith/multiply/algorithm_table.h"
#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "constants/bsr/psr_series.h"
#include "constants/builtin/row_series.h"
#include "reference/mpz_words.h"
#include "support/capture_console.h"
#include "support/masked.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using kalvor_test::without_numbers_behind;
using trel::BigFloat;
using trel::i64;
using trel::round_up_8;
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

// A run in memory of exactly the size that the evaluator asks for.
struct PiRun {
    PiRun(PiAlgorithm algorithm, int power, u64 p, u64 tds)
        : tds(tds),
          evaluator(Pi(algorithm, power).make_evaluator({p, tds})),
          result(round_up_8(evaluator->needs().result_words) * sizeof(trel::Word)),
          working(evaluator->needs().bytes) {}
    BigFloat value(trel::Status& status = trel::null_status()) const {
        BigFloat x(result.words(), evaluator->needs().result_words);
        evaluator->run({{thread_framework(), tds}, working.view(), nullptr}, status, x);
        return x;
    }

    u64 tds;
    std::unique_ptr<Evaluator> evaluator;
    Scratch result, working;
};

u64 bytes_of(int algorithm, u64 p, u64 tds) {
    return Pi(static_cast<PiAlgorithm>(algorithm)).make_evaluator({p, tds})->needs().bytes;
}

// The computed value differs from the true one by less than 2^-(64 (p - 1)), and touches no memory but its
// own.
void check(PiAlgorithm algorithm, int power, u64 p, u64 tds) {
    const PiRun run(algorithm, power, p, tds);
    const BigFloat x = run.value();
    ASSERT_TRUE(run.result.guards_intact() && run.working.guards_intact());
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

// Odd and even numbers of terms, one block and several, at every small precision: a wrong sign rule shows
// after the first split.
TEST(PiTermsTest, OddAndEvenTermCounts) {
    for (u64 p = 3; p < 40; p++) {
        for (int algorithm = 0; algorithm < 2; algorithm++)
            check(static_cast<PiAlgorithm>(algorithm), 1, p, 1);
        if (HasFatalFailure()) return;
    }
}

// As many words as the session asks for give every digit it wants, whatever the number of tasks.
TEST(PiDigitsTest, TheSameForAnyNumberOfTasks) {
    for (const u64 digits : {100, 3000, 40000}) {
        const u64 p = words_for(digits);
        const mpz_class want = reference_pi(1, p - 3);
        for (const u64 tds : {1, 2, 3, 7, 16}) {
            for (int algorithm = 0; algorithm < 4; algorithm++) {
                const PiRun run(static_cast<PiAlgorithm>(algorithm), 1, p, tds);
                const BigFloat x = run.value();
                // H hexadecimal digits and one word more.
                ASSERT_EQ(reference::magnitude_at(x, -static_cast<i64>(p) + 3), want) << digits << " " << tds;
            }
        }
    }
}

TEST(PiPlanTest, PowerIsChecked) {
    for (const int power : {0, 2, -2}) {
        try {
            Pi pi(PiAlgorithm::chudnovsky, power);
            FAIL();
        } catch (const trel::InvalidParametersException& e) {
            EXPECT_EQ(e.function, "Pi");
            EXPECT_EQ(e.message, "Power must be 1 or -1.");
        }
    }
}

// Sizes beyond the last multiplication algorithm are refused while memory is planned.
TEST(PiPlanTest, SizesBeyondTheLastAlgorithm) {
    const u64 largest = trel::basic_table64().items().back().threshold_words;
    if (largest < (u64(1) << 40)) {
        EXPECT_THROW(Pi(PiAlgorithm::chudnovsky).make_evaluator({largest, 1}), trel::LimitExceededException);
    }
}

TEST(PiPlanTest, ReducedMemoryIsLess) {
    using Sum = BinarySplitting::PSR_SeriesB<BinarySplitting::CommonP2B3::Family>;
    const u64 p = 100000;
    for (const int algorithm : {0, 1}) {
        const RowSeries series(pi_series()[static_cast<u64>(algorithm)], p);
        const Sum full(series, p, 1), less(series, p / 2, 1);
        EXPECT_LT(less.needs().bytes, full.needs().bytes);
        EXPECT_LT(less.block(0).needs().bytes, full.block(0).needs().bytes);
        EXPECT_LE(bytes_of(algorithm + 2, p, 1), bytes_of(algorithm, p, 1));
    }
}

// Blocks and division both: either alone would leave the other's peak. From 20 to 300 million digits.
TEST(PiPlanTest, ReducedMemoryIsAtLeastThreePercentLess) {
    for (const trel::u64 p : {1038104, 5190513, 15571538}) {
        for (const trel::u64 tds : {1, 2, 64}) {
            for (const int algorithm : {0, 1}) {
                const auto bytes = [&](int which) { return static_cast<double>(bytes_of(which, p, tds)); };
                EXPECT_LT(bytes(algorithm + 2), 0.97 * bytes(algorithm))
                    << p << " " << tds << " " << algorithm;
            }
        }
    }
}

// A budget below the usual needs is met by reduced memory, and one above them changes nothing. What is free
// costs nothing, so that it may be used.
TEST(PiPlanTest, BudgetsAndFreeMemory) {
    for (const u64 p : {100000, 1038104}) {
        for (const int algorithm : {0, 1}) {
            const Pi pi(static_cast<PiAlgorithm>(algorithm));
            const u64 usual = bytes_of(algorithm, p, 2), reduced = bytes_of(algorithm + 2, p, 2);
            ASSERT_LT(reduced, usual);
            EXPECT_EQ(pi.make_evaluator({p, 2, usual})->needs().bytes, usual);
            EXPECT_EQ(pi.make_evaluator({p, 2, usual - 1})->needs().bytes, reduced);
            EXPECT_EQ(pi.make_evaluator({p, 2, 0})->needs().bytes, reduced);
            const u64 bytes = pi.make_evaluator({p, 2, trel::kAnyRoom, 2 * usual})->needs().bytes;
            EXPECT_GE(bytes, usual);
            EXPECT_LE(bytes, 2 * usual);
        }
    }
}

TEST(PiMessagesTest, StepsAreAnnounced) {
    const std::string time = "Time:<number> seconds  (<number> minutes )\n";
    for (int algorithm = 0; algorithm < 4; algorithm++) {
        const bool chudnovsky = algorithm % 2 == 0;
        const PiRun run(static_cast<PiAlgorithm>(algorithm), 1, 55, 1);
        CaptureConsole console;
        trel::LinearConsoleNode status(79, 1.0);
        run.value(status);
        const std::string got =
            without_numbers_behind(" seconds  (", without_numbers_behind("Time:", console.take()));
        const std::string series =
            chudnovsky
                ? "Pi - Chudnovsky (1988):\nSeries CommonP2B3...  76 terms  (Expansion Factor = 1.466)\n"
                : "Pi - Ramanujan (1910):\nSeries CommonP2B3...  134 terms  (Expansion Factor = 1.846)\n";
        const std::string root = chudnovsky ? "InvSqrt(10005)...\n" : "InvSqrt(8)...\n";
        EXPECT_EQ(got, series + time + "Finishing Series\n" + time + "Large Division...\n" + time + root +
                           time + "Large Multiply...\n" + time);
    }
}

// 1/Pi takes other square roots and coefficients: 10005 again for the one series, 2 in place of 8 for the
// other.
TEST(PiMessagesTest, InversesTakeTheirOwnRoots) {
    for (int algorithm = 0; algorithm < 4; algorithm++) {
        const PiRun run(static_cast<PiAlgorithm>(algorithm), -1, 55, 1);
        CaptureConsole console;
        trel::LinearConsoleNode status(79, 1.0);
        run.value(status);
        EXPECT_NE(console.take().find(algorithm % 2 == 0 ? "\nInvSqrt(10005)...\n" : "\nInvSqrt(2)...\n"),
                  std::string::npos);
    }
}

TEST(SlowPiTest, AMillionDigits) {
    const u64 p = words_for(1000000);
    check(PiAlgorithm::chudnovsky, 1, p, 1);
    check(PiAlgorithm::chudnovsky_reduced, 1, p, 2);
    check(PiAlgorithm::ramanujan, -1, p, 3);
    check(PiAlgorithm::ramanujan_reduced, 1, p, 7);
}

}  // namespace
