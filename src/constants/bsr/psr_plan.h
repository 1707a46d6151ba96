// Plans of the partitioned series recursion: the index range cut into blocks, each summed at the precision
// that its position needs.
#pragma once

#include <vector>

#include "base/names/names.h"
#include "base/status/warnings.h"
#include "constants/bsr/series.h"

namespace kalvor::BinarySplitting {

struct PsrBlock {
    u64 a, b;             // [a, b)
    u64 precision_start;  // words needed at a
    u64 precision_end;    // words needed at b
    // The results are no longer than the precision at a, so that nothing is gained by cutting them.
    bool exact = false;

    // The accumulator's precision after this block.
    u64 working_precision() const { return precision_start + 2; }
};
using PsrBlocks = std::vector<PsrBlock>;

struct PsrPlan {
    PsrBlocks blocks;
    std::vector<Warnings::Line> remarks;  // what the run warns of
};

// Plans of more blocks are refused with a LimitExceededException.
inline constexpr u64 kMostBlocks = 1000000;

// Appends blocks over [s, series.terms()) of log_size about `limit` nats (at least one term each). 10,000
// blocks or more get remarks.
void plan_blocks(const Series& series, u64 s, double limit, PsrPlan& plan);

// The plan of a whole series in memory: blocks that end where their results have grown as large as the
// precision that the rest still needs or at block_limit_words, as long as they are worth spreading over the
// tasks; then blocks of that smallest size.
PsrPlan plan_equilibrium(const Series& series, u64 block_limit_words, u64 tds);

// One exact block over the whole sum.
PsrPlan plan_single_block(const Series& series);

// The one of the two that the series wants.
PsrPlan plan_series(const Series& series, u64 block_limit_words, u64 tds);

// The smallest block worth spreading over tasks, in nats.
double aggressive_limit(u64 tds);

}  // namespace kalvor::BinarySplitting
