// One bit changed somewhere in the sum of a series: the numbers come out right, because the range was done
// again, or an exception ends the run. Wrong numbers never come out.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "base/errors/exceptions.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/bsr/series_value.h"
#include "support/capture_console.h"
#include "support/changed_numbers.h"
#include "support/effort.h"
#include "support/pi_like_series.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using CommonP2B3::Family;
using kalvor_test::ChangedNumbers;
using trel::BigFloat;
using trel::ComputationStages;
using trel::ExactFloat;
using trel::MultiplyContext;
using trel::RunMonitor;

namespace {

std::vector<Word> contents(const ExactFloat& A) {
    std::vector<Word> words(A.T, A.T + A.L);
    words.push_back(static_cast<Word>(A.exp));
    words.push_back(A.sign);
    words.push_back(A.residue);
    return words;
}
std::vector<Word> contents(const BigFloat& A) {
    std::vector<Word> words(A.T, A.T + A.L);
    words.push_back(static_cast<Word>(A.exp));
    return words;
}

struct Outcome {
    std::vector<std::vector<Word>> numbers;  // none: an exception
    std::string error;
    u64 corrected = 0, checked = 0;
};

Outcome run_block(const PiLikeSeries& series, u64 a, u64 b, bool exact, u64 tds, ComputationStages& stages) {
    const BSR_BlockB<Family> plan(series, {a, b, series.precision_words(a), series.precision_words(b)}, false,
                                  exact, tds);
    Scratch results(total_words(plan.capacities()) * sizeof(Word)), scratch(plan.needs().bytes);
    RunMonitor monitor;
    monitor.stages = &stages;
    const MultiplyContext context{{thread_framework(), tds, &monitor}, scratch.view(), nullptr};
    trel::AlignedBufferC memory = results.view();
    Outcome o;
    try {
        if (exact) {
            auto range = carve_range<ExactFloat>(memory, plan.capacities());
            BlockRun<Family>(plan).run(context, trel::null_status(), range);
            for (const ExactFloat& A : range) o.numbers.push_back(contents(A));
        } else {
            auto range = carve_range<BigFloat>(memory, plan.capacities());
            BlockRun<Family>(plan).run(context, trel::null_status(), range);
            for (const BigFloat& A : range) o.numbers.push_back(contents(A));
        }
    } catch (const trel::StringException& e) {
        o.numbers.clear();
        o.error = e.message;
    }
    o.corrected = monitor.checks.corrected;
    o.checked = monitor.checks.numbers;
    return o;
}

class SeriesFaultsTest : public testing::TestWithParam<u64> {
  protected:
    PiLikeSeries series{true, 30000};
    u64 tds() const { return GetParam(); }
};

// Results of leaves and merges inside a range, of whole ranges before they are looked at, and of ranges that
// wait until they are merged.
TEST_P(SeriesFaultsTest, ExactRangesAreDoneAgain) {
    constexpr u64 kTerms = 15000;
    std::mt19937_64 random(11);
    for (const char* name : {"piece", "range", "rest"}) {
        ChangedNumbers none(name, {}, 0);
        const Outcome right = run_block(series, 0, kTerms, true, tds(), none);
        ASSERT_EQ(right.numbers.size(), 3u);
        EXPECT_EQ(right.corrected, 0u);
        EXPECT_GT(right.checked, 10u);
        ASSERT_GT(none.count, 10u) << name;
        for (unsigned round = 0; round < 25 / kalvor_test::thinned(5); round++) {
            const u64 at = random() % none.count;
            SCOPED_TRACE(testing::Message() << name << " " << at << " of " << none.count);
            ChangedNumbers flip(name, {at}, random());
            const Outcome got = run_block(series, 0, kTerms, true, tds(), flip);
            EXPECT_EQ(got.error, "");
            EXPECT_EQ(got.numbers, right.numbers);
            EXPECT_EQ(got.corrected, 1u);
        }
    }
}

// Residues say nothing of which terms a sum holds. Where a range does not follow the one it is merged with,
// or is not the one that was asked for, it is done again.
TEST_P(SeriesFaultsTest, RangesOfOtherTermsAreDoneAgain) {
    std::mt19937_64 random(14);
    for (const bool exact : {true, false}) {
        PiLikeSeries shorter{true, 9000};
        const PiLikeSeries& chosen = exact ? series : shorter;
        const u64 a = exact ? 0 : shorter.terms() / 4, b = exact ? 15000 : shorter.terms();
        ChangedNumbers none("terms", {}, 0);
        const Outcome right = run_block(chosen, a, b, exact, tds(), none);
        ASSERT_EQ(right.numbers.size(), 3u);
        ASSERT_GT(none.count, 20u);
        for (unsigned round = 0; round < 25 / kalvor_test::thinned(5); round++) {
            const u64 at = random() % none.count;
            SCOPED_TRACE(testing::Message() << "terms " << at << " of " << none.count);
            ChangedNumbers flip("terms", {at}, random());
            const Outcome got = run_block(chosen, a, b, exact, tds(), flip);
            EXPECT_EQ(got.error, "");
            EXPECT_EQ(got.numbers, right.numbers);
            EXPECT_EQ(got.corrected, 1u);
        }
    }
}

TEST(TermSpanTest, OnlyNeighboursAreJoined) {
    const auto& parallel = trel::serial_context();
    EXPECT_EQ(joined(parallel, {3, 7}, {7, 12}), (TermSpan{3, 12}));
    const auto refused = [&parallel](TermSpan left, TermSpan right) {
        try {
            joined(parallel, left, right);
        } catch (const trel::AlgorithmFailedException& e) {
            return e.message;
        }
        return std::string();
    };
    const std::string text = "Terms of the series were lost or taken twice: ";
    EXPECT_EQ(refused({3, 7}, {8, 12}), text + "4 to 7 were merged with 9 to 12.");  // lost
    EXPECT_EQ(refused({3, 7}, {6, 12}), text + "4 to 7 were merged with 7 to 12.");  // twice
    EXPECT_EQ(refused({7, 12}, {3, 7}), text + "8 to 12 were merged with 4 to 7.");  // exchanged
    EXPECT_NO_THROW(check_terms({3, 12}, 3, 12));
    EXPECT_THROW(check_terms({3, 12}, 3, 11), trel::AlgorithmFailedException);
    EXPECT_THROW(check_terms({3, 12}, 2, 12), trel::AlgorithmFailedException);
}

// The same inside floating-point blocks, and halves that wait until they are merged.
TEST_P(SeriesFaultsTest, FloatingPointBlocksAreDoneAgain) {
    PiLikeSeries short_series{true, 9000};
    const u64 terms = short_series.terms();
    std::mt19937_64 random(12);
    for (const char* name : {"piece", "range", "rest"}) {
        ChangedNumbers none(name, {}, 0);
        const Outcome right = run_block(short_series, terms / 4, terms, false, tds(), none);
        ASSERT_EQ(right.numbers.size(), 3u);
        ASSERT_GT(none.count, 10u) << name;
        // The last pieces are the block's results, which belong to the sum of the blocks from here on.
        const u64 inner = name == std::string("piece") ? none.count - 3 : none.count;
        for (unsigned round = 0; round < 15 / kalvor_test::thinned(5); round++) {
            const u64 at = random() % inner;
            SCOPED_TRACE(testing::Message() << name << " " << at << " of " << none.count);
            ChangedNumbers flip(name, {at}, random());
            const Outcome got = run_block(short_series, terms / 4, terms, false, tds(), flip);
            EXPECT_EQ(got.error, "");
            EXPECT_EQ(got.numbers, right.numbers);
            EXPECT_EQ(got.corrected, 1u);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Tasks, SeriesFaultsTest, testing::Values(1, 4));

TEST(SeriesFaultTest, ARangeThatFailsTwiceEndsTheRun) {
    const PiLikeSeries series(true, 30000);
    ChangedNumbers flips("range", {ChangedNumbers::kEvery}, 77);
    const Outcome got = run_block(series, 0, 50, true, 1, flips);
    EXPECT_EQ(got.error, "Modular Redundancy Check Failed");
    EXPECT_EQ(got.corrected, 0u);
}

TEST(SeriesFaultTest, TheThirdCorrectionEndsTheRun) {
    const PiLikeSeries series(true, 30000);
    // Ranges have three numbers, and each is done again.
    ChangedNumbers two("range", {0, 9}, 77);
    EXPECT_EQ(run_block(series, 0, 15000, true, 1, two).corrected, 2u);
    ChangedNumbers three("range", {0, 9, 18}, 77);
    const Outcome got = run_block(series, 0, 15000, true, 1, three);
    // With the earlier two, which may not have been reported yet.
    EXPECT_EQ(got.error.find("Three computation errors in one run: this machine cannot be trusted.\n"
                             "    series, terms "),
              0u)
        << got.error;
    EXPECT_EQ(std::count(got.error.begin(), got.error.end(), '\n'), 3) << got.error;
    EXPECT_NE(got.error.find(" (Modular Redundancy Check Failed)"), std::string::npos) << got.error;
}

// With several tasks the error is met on other threads. It ends the run, not the process.
TEST_P(SeriesFaultsTest, ARangeThatFailsTwiceOnAnyThreadEndsTheRun) {
    for (const bool exact : {true, false}) {
        ChangedNumbers flips("range", {ChangedNumbers::kEvery}, 77);
        const Outcome got = run_block(series, exact ? 0 : 5000, 15000, exact, tds(), flips);
        EXPECT_NE(got.error, "");
        EXPECT_TRUE(got.numbers.empty());
    }
}

// ---- whole series

Outcome run_series(const std::shared_ptr<const PiLikeSeries>& series, u64 tds, ComputationStages& stages) {
    const SeriesEvaluator<Family> plan(series, {1, 1000003, 7, 1, true}, {series->precision(), tds},
                                       SeriesMemory::full);
    Scratch result(plan.needs().result_words * sizeof(Word)), memory(plan.needs().bytes);
    RunMonitor monitor;
    monitor.stages = &stages;
    BigFloat x(result.view().word_pointer(), plan.needs().result_words);
    Outcome o;
    try {
        plan.run(MultiplyContext{{thread_framework(), tds, &monitor}, memory.view(), nullptr},
                 trel::null_status(), x);
        o.numbers.push_back(contents(x));
    } catch (const trel::StringException& e) {
        o.error = e.message;
    }
    o.corrected = monitor.checks.corrected;
    o.checked = monitor.checks.numbers;
    return o;
}

// Results of blocks are formed again. The sum that waits for the next block cannot be: the run ends.
TEST_P(SeriesFaultsTest, BlocksAndTheSumThatWaits) {
    std::mt19937_64 random(13);
    for (const u64 precision : {60, 519, 15000}) {
        const auto shared = std::make_shared<const PiLikeSeries>(true, precision);
        for (const char* name : {"block", "fold", "sum", "terms"}) {
            ChangedNumbers none(name, {}, 0);
            const Outcome right = run_series(shared, tds(), none);
            ASSERT_EQ(right.numbers.size(), 1u);
            EXPECT_GE(right.checked, 2u);
            ASSERT_GE(none.count, name == std::string("terms") ? 1u : 2u);
            if (precision == 15000) {
                ASSERT_GE(none.count, 6u);
            }
            const u64 step = std::max<u64>(1, none.count / (40 / kalvor_test::thinned(8)));
            for (u64 at = none.count % step; at < none.count; at += step) {
                SCOPED_TRACE(testing::Message()
                             << precision << " words, " << name << " " << at << " of " << none.count);
                ChangedNumbers flip(name, {at}, random());
                const Outcome got = run_series(shared, tds(), flip);
                if (name == std::string("sum")) {
                    EXPECT_NE(got.error.find("A number was damaged in memory: "), std::string::npos)
                        << got.error;
                } else {
                    EXPECT_EQ(got.error, "");
                    EXPECT_EQ(got.numbers, right.numbers);
                    EXPECT_EQ(got.corrected, 1u);
                }
            }
        }
    }
}

}  // namespace
