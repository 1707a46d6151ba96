// e and 1/e against MPFR.
#include "constants/builtin/e.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include <mutex>
#include <random>

#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "support/capture_console.h"
#include "support/evaluator_run.h"
#include "support/masked.h"
#include "support/message_of.h"

using namespace kalvor;
using kalvor_test::EvaluatorRun;
using kalvor_test::expect_value;
using kalvor_test::kReferenceWords;
using kalvor_test::without_numbers_behind;

namespace {

// floor(e^power 2^(64 words))
mpz_class exponential(int power, u64 words) {
    mpfr_t x;
    mpfr_init2(x, static_cast<mpfr_prec_t>(64 * words + 128));
    mpfr_set_si(x, power, MPFR_RNDN);
    mpfr_exp(x, x, MPFR_RNDN);
    mpfr_mul_2ui(x, x, static_cast<unsigned long>(64 * words), MPFR_RNDN);
    mpz_class z;
    mpfr_get_z(z.get_mpz_t(), x, MPFR_RNDD);
    mpfr_clear(x);
    return z;
}

void expect_every_road(u64 p, u64 tds) {
    const mpz_class e = exponential(1, p + kReferenceWords), inverse = exponential(-1, p + kReferenceWords);
    const std::string what = "p=" + std::to_string(p) + " tds=" + std::to_string(tds);
    expect_value(E(EAlgorithm::exp_1), p, tds, e, "exp(1) " + what);
    expect_value(E(EAlgorithm::exp_minus_1), p, tds, e, "exp(-1) " + what);
    expect_value(E(EAlgorithm::exp_minus_1, -1), p, tds, inverse, "1/e " + what);
}

TEST(ETest, AllSmallPrecisions) {
    for (u64 p = 3; p <= 200; p++) {
        expect_every_road(p, 1 + p % 3);
        if (HasFatalFailure()) return;
    }
}

TEST(ETest, TenThousandDigitsAndMore) {
    for (const u64 p : {521, 5193}) {
        for (const u64 tds : {1, 2, 7}) expect_every_road(p, tds);
    }
}

TEST(SlowETest, AMillionDigits) {
    for (const u64 tds : {1, 7}) expect_every_road(51908, tds);
}

TEST(ETest, PowersAreChecked) {
    const auto refused = [](EAlgorithm algorithm, i64 power) {
        return kalvor_test::message_of<InvalidParametersException>(kalvor_test::Form::message,
                                                                   [&] { E(algorithm, power); });
    };
    for (const i64 power : {0, 2, -2}) {
        EXPECT_EQ(refused(EAlgorithm::exp_1, power), "Power must be 1 or -1.");
        EXPECT_EQ(refused(EAlgorithm::exp_minus_1, power), "Power must be 1 or -1.");
    }
    EXPECT_EQ(refused(EAlgorithm::exp_1, -1), "Inversion not supported for non-alternating series.");
}

std::string said(const EvaluatorFactory& factory) {
    EvaluatorRun run(factory, 55, 1);
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    run.value(status);
    return without_numbers_behind(" seconds  (", without_numbers_behind("Time:", console.take()));
}

TEST(ETest, StepsAreAnnounced) {
    const std::string time = "Time:<number> seconds  (<number> minutes )\n";
    const auto steps = [&](const std::string& label) {
        return label + "\nSeries Hyperdescent...  474 terms  (Expansion Factor = 1.004)\n" + time +
               "Finishing Series\n" + time + "Large Division...\n" + time;
    };
    EXPECT_EQ(said(E(EAlgorithm::exp_1)), steps("e - exp(1)"));
    EXPECT_EQ(said(E(EAlgorithm::exp_minus_1)), steps("e - exp(-1):"));
    EXPECT_EQ(said(E(EAlgorithm::exp_minus_1, -1)), steps("e - exp(-1):"));
}

TEST(ETest, Memory) {
    const u64 p = 519054;
    for (const EAlgorithm algorithm : {EAlgorithm::exp_1, EAlgorithm::exp_minus_1}) {
        const auto evaluator = E(algorithm).make_evaluator({p, 1});
        const u64 bytes = evaluator->needs().bytes + 8 * evaluator->needs().result_words;
        EXPECT_LT(static_cast<double>(bytes), 5.3 * 1e7);
        EXPECT_EQ(evaluator->series_blocks().all, 1u);
        EXPECT_EQ(evaluator->series_blocks().checked, 1u);
        EXPECT_EQ(evaluator->work().size(), 2u);
    }
}

// Changes one bit of what stands at the n-th of all stages.
class OneFlip final : public ComputationStages {
  public:
    OneFlip(u64 n, u64 place) : n_(n), place_(place) {}
    void at(const char*, void* memory, u64 bytes) override {
        const std::lock_guard lock(mutex_);
        if (count == n_ && bytes != 0) {
            const u64 bit = place_ % (8 * bytes);
            static_cast<u8*>(memory)[bit / 8] ^= static_cast<u8>(1u << bit % 8);
            changed = true;
        }
        count++;
    }
    u64 count = 0;
    bool changed = false;

  private:
    const u64 n_, place_;
    std::mutex mutex_;
};

// In a leaf, a merge, the block, the sum that waits, the division: the value comes out right or the run ends.
TEST(ETest, AChangedBitNeverMakesAWrongValue) {
    for (const EAlgorithm algorithm : {EAlgorithm::exp_1, EAlgorithm::exp_minus_1}) {
        const auto evaluator = E(algorithm).make_evaluator({400, 1});
        Scratch result(round_up_8(evaluator->needs().result_words) * sizeof(Word)),
            memory(round_up_64(evaluator->needs().bytes));
        const auto run = [&](ComputationStages& stages, u64& corrected) {
            RunMonitor monitor;
            monitor.stages = &stages;
            BigFloat x(result.words(), evaluator->needs().result_words);
            evaluator->run({{thread_framework(), 1, &monitor}, memory.view(), nullptr}, null_status(), x);
            monitor.stages = nullptr;
            x.verify(serial_context(), "the value");
            corrected = monitor.checks.corrected;
            return std::vector<Word>(x.T, x.T + x.L);
        };
        u64 corrected = 0;
        OneFlip none(~u64(0), 0);
        const std::vector<Word> right = run(none, corrected);
        ASSERT_EQ(corrected, 0u);
        ASSERT_GT(none.count, 500u);
        std::mt19937_64 rng(3);
        u64 mended = 0, ended = 0;
        for (u64 i = 0; i < none.count; i += 1 + none.count / 400) {
            OneFlip flip(i, rng());
            try {
                ASSERT_EQ(run(flip, corrected), right) << i << " of " << none.count;
                mended += corrected;
            } catch (const Exception&) {
                ended++;
            }
            ASSERT_TRUE(flip.changed || corrected == 0);
        }
        EXPECT_GT(mended, 100u);
        EXPECT_GT(ended, 10u);
    }
}

}  // namespace
