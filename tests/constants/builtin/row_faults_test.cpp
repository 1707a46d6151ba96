// One bit changed in each number of a leaf's result, of a merge's and of a block's, for every built-in
// series: the range is done again and comes out right, or the residues end the run.
#include <gtest/gtest.h>

#include <random>
#include <set>

#include "base/errors/exceptions.h"
#include "constants/bsr/block_run.h"
#include "constants/builtin/built_in_value.h"
#include "constants/builtin/row_series.h"
#include "reference/mpz_words.h"
#include "support/changed_numbers.h"
#include "support/damaged_run.h"
#include "support/effort.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using kalvor_test::ChangedNumbers;
using kalvor_test::DamagedRun;
using kalvor_test::run_damaged;
using trel::BSRModularCheckFailedException;
using trel::u64;
using trel::Word;
using Family = CommonP2B3::Family;

namespace {

std::vector<const BuiltInSeries*> all_rows() {
    std::vector<const BuiltInSeries*> rows;
    for (const auto& list : {pi_series(), zeta3_series(), catalan_series()}) {
        for (const BuiltInSeries& row : list) rows.push_back(&row);
    }
    return rows;
}

// P, Q, R of some terms in the middle, whose link is needed.
struct Block {
    static constexpr u64 kFirst = 1000;
    // Of a series that is too short for leaves of thousands of terms (factored_leaf_test.cpp).
    explicit Block(const BuiltInSeries& row) : series(row, 7), b(kFirst + 2 * row.leaf_threshold + 1) {}

    std::vector<mpz_class> run(ChangedNumbers& flips, u64* corrected = nullptr) const {
        const BSR_BlockB<Family> plan(series, {kFirst, b, 100, 100}, false, true, 1);
        Scratch results(total_words(plan.capacities()) * sizeof(Word)), stack(plan.needs().bytes);
        trel::AlignedBufferC memory = results.view();
        auto range = carve_range<trel::ExactFloat>(memory, plan.capacities());
        trel::RunMonitor monitor;
        monitor.stages = &flips;
        BlockRun<Family>(plan).run({{thread_framework(), 1, &monitor}, stack.view(), nullptr},
                                   trel::null_status(), range);
        if (corrected) *corrected = monitor.checks.corrected;
        std::vector<mpz_class> numbers;
        for (const trel::ExactFloat& A : range) {
            mpz_class z = reference::to_mpz(A.T, A.L);
            z <<= static_cast<mp_bitcnt_t>(64 * A.exp);
            numbers.push_back(z);
        }
        return numbers;
    }

    RowSeries series;
    u64 b;
};

TEST(RowFaultsTest, LeavesAndMerges) {
    std::mt19937_64 random(21);
    for (const BuiltInSeries* row : all_rows()) {
        const Block block(*row);
        ChangedNumbers none("piece");
        const std::vector<mpz_class> right = block.run(none);
        // Three leaves and two merges at least, of three numbers each.
        ASSERT_GE(none.count, 15u);
        ASSERT_EQ(none.count % 3, 0u);
        for (u64 at = 0; at < none.count; at++) {
            SCOPED_TRACE(testing::Message()
                         << row->name << ", number " << at % 3 + 1 << " of piece " << at / 3);
            const u64 place = random();
            ChangedNumbers once("piece", {at}, place);
            u64 corrected = 0;
            EXPECT_EQ(block.run(once, &corrected), right);
            EXPECT_EQ(corrected, 1u);
            // And again when the range is done again.
            ChangedNumbers twice("piece", {at, at + none.count}, place);
            try {
                block.run(twice);
                ADD_FAILURE();
            } catch (const BSRModularCheckFailedException& e) {
                EXPECT_EQ(e.message, "Modular Redundancy Check Failed");
                EXPECT_EQ(e.a, Block::kFirst);
                EXPECT_EQ(e.b, block.b);
                ASSERT_EQ(e.hashes.size(), 2u);
                EXPECT_TRUE(e.hashes[0] != 0 || e.hashes[1] != 0);
            }
        }
    }
}

// What a check looks at, the numbers of a whole block.
TEST(RowFaultsTest, ResultsOfBlocks) {
    std::mt19937_64 random(22);
    for (const BuiltInSeries* row : all_rows()) {
        const Block block(*row);
        ChangedNumbers none("range");
        const std::vector<mpz_class> right = block.run(none);
        // The block as a range, and once more when it is finished.
        ASSERT_EQ(none.count, 6u);
        for (u64 at = 0; at < 6; at++) {
            SCOPED_TRACE(testing::Message() << row->name << " " << at);
            const u64 place = random();
            ChangedNumbers once("range", {at}, place);
            u64 corrected = 0;
            EXPECT_EQ(block.run(once, &corrected), right);
            EXPECT_EQ(corrected, 1u);
            // The same number of the range at the next look.
            ChangedNumbers twice(
                "range", at < 3 ? std::set<u64>{at, at + 3} : std::set<u64>{at, at + 3, at + 6}, place);
            try {
                block.run(twice);
                ADD_FAILURE();
            } catch (const BSRModularCheckFailedException& e) {
                EXPECT_EQ(e.a, Block::kFirst);
                EXPECT_EQ(e.b, block.b);
                EXPECT_EQ(e.hashes[0] != 0, at % 3 == 0);
                EXPECT_EQ(e.hashes[1] != 0, at % 3 != 0);
            }
        }
    }
}

// A whole sum, with exact blocks and floating-point ones, whose inner pieces are exact. The sum that waits
// for the next block cannot be done again, so that the run ends.
TEST(RowFaultsTest, WholeSums) {
    std::mt19937_64 random(23);
    for (const BuiltInSeries* row : all_rows()) {
        const auto evaluator = BuiltInValue(*row, 1, "").make_evaluator({300, 1});
        for (const std::string name : {"piece", "range", "rest", "block", "sum"}) {
            ChangedNumbers none(name);
            const DamagedRun right = run_damaged(*evaluator, none);
            ASSERT_EQ(right.error, "") << row->name;
            ASSERT_GT(none.count, 1u) << row->name << " " << name;
            const bool few = none.count <= 12;
            const u64 rounds = few ? none.count : 24 / kalvor_test::thinned(6);
            for (u64 round = 0; round < rounds; round++) {
                const u64 at = few ? round : random() % none.count;
                SCOPED_TRACE(testing::Message()
                             << row->name << " " << name << " " << at << " of " << none.count);
                ChangedNumbers flip(name, {at}, random());
                const DamagedRun got = run_damaged(*evaluator, flip);
                if (name == "sum") {
                    EXPECT_NE(got.error.find("A number was damaged in memory: "), std::string::npos)
                        << got.error;
                } else {
                    EXPECT_EQ(got.error, "");
                    EXPECT_EQ(got.value, right.value);
                    EXPECT_EQ(got.corrected, 1u);
                }
            }
        }
    }
}

}  // namespace
