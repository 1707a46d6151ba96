// The value of a series from its binary splitting: a series whose Q is a power of two, so that Q drops nearly
// all of its words and P reaches far below it.
#include "constants/bsr/series_value.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "constants/bsr/common_p2b3.h"
#include "reference/mpz_words.h"
#include "support/one_changed_number.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using trel::BasicIntR;
using trel::BigFloat;
using trel::DoubleDouble;
using trel::MultiplyContext;
using trel::u64;
using trel::Word;

namespace {

constexpr u64 kBits = 32;
constexpr double kLn2 = 0.6931471805599453;

// The sum over k > 0 of 2^(-32 k) = 1 / (2^32 - 1).
class GeometricSeries final : public CommonP2B3::Series {
  public:
    explicit GeometricSeries(u64 precision)
        : Series({precision * 64 / kBits + 2, precision, 4, 10, false}, {1, 2, 1}) {}
    double log_size_to(u64 k) const override { return (kBits * kLn2 + 1e-9) * static_cast<double>(k); }
    DoubleDouble log_size_to_dd(u64 k) const override { return DoubleDouble(log_size_to(k)); }
    DoubleDouble log_remaining(u64 k) const override {
        const double rest = (64 * static_cast<double>(precision()) - kBits * static_cast<double>(k)) * kLn2;
        return DoubleDouble(rest > 0 ? rest : 0);
    }
    double log_size_R(u64, u64) const override { return 1; }
    u64 zero_bits_Q(u64 a, u64 b) const override { return kBits * (b - a); }
    void term(u64, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const override {
        P.set_word(1);
        Q.set_word(Word(1) << kBits);
        R.set_word(1);
    }
};

// 1 + 1 / (2^32 - 1) = 2^32 / (2^32 - 1)
TEST(SeriesValueTest, WordsBelowAStrippedDenominatorCount) {
    for (const u64 p : {3, 5, 10, 20, 50, 200, 1000}) {
        for (const u64 tds : {1, 2}) {
            const SeriesEvaluator<CommonP2B3::Family> plan(std::make_shared<const GeometricSeries>(p),
                                                           {1, 1, 1, 1, false}, {p, tds}, SeriesMemory::full);
            Scratch result(plan.needs().result_words * sizeof(Word)), memory(plan.needs().bytes);
            BigFloat x(result.view().word_pointer(), plan.needs().result_words);
            plan.run(MultiplyContext{{thread_framework(), tds}, memory.view(), nullptr}, trel::null_status(),
                     x);
            EXPECT_TRUE(result.guards_intact() && memory.guards_intact());

            // |x (2^32 - 1) - 2^32| in units of 2^(64 exp)
            ASSERT_LT(x.exp, 0);
            const mpz_class got = reference::to_mpz(x.T, x.L) * 4294967295UL;
            const mpz_class want = mpz_class(1) << (kBits + 64 * static_cast<u64>(-x.exp));
            const mpz_class error = abs(got - want);
            const u64 bits = error == 0 ? 0 : mpz_sizeinbase(error.get_mpz_t(), 2);
            EXPECT_LT(bits + 64 * p, 64 * static_cast<u64>(-x.exp) + kBits + 64)
                << "p=" << p << " tds=" << tds;
        }
    }
}

// A bit of P, Q or of what the finishing step makes of them, changed when it is taken up.
TEST(SeriesValueTest, ChangedNumbersAreFound) {
    const u64 p = 200;
    const SeriesValuePlan plan(p, {3, 5, 7, 1, false}, 1);
    trel::RunMonitor monitor;
    const trel::ParallelContext parallel{thread_framework(), 1, &monitor};
    const auto run = [&](trel::ComputationStages& stages) {
        std::mt19937_64 rng(1);
        std::vector<Word> words[2] = {std::vector<Word>(p + 8), std::vector<Word>(p + 8)};
        BigFloat numbers[2];
        for (int i = 0; i < 2; i++) {
            for (Word& word : words[i]) word = rng() | 1;
            numbers[i] = BigFloat(words[i].data(), p + 8);
            numbers[i].L = p + 3;
            numbers[i].sign = true;
            numbers[i].seal(parallel);
        }
        Scratch result((p + 32) * sizeof(Word)), scratch(plan.needs().bytes);
        BigFloat x(result.words(), p + 32);
        monitor.stages = &stages;
        plan.run({parallel, scratch.view(), nullptr}, trel::null_status(), numbers[0], numbers[1], x);
        monitor.stages = nullptr;
        x.verify(parallel, "the value");
    };
    kalvor_test::OneChangedNumber counter;
    run(counter);
    ASSERT_GT(counter.count, 20u);
    std::mt19937_64 rng(2);
    for (u64 i = 0; i < counter.count; i++) {
        kalvor_test::OneChangedNumber change(i, rng());
        EXPECT_ANY_THROW(run(change)) << i << " of " << counter.count;
    }
}

}  // namespace
