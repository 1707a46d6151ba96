#include "constants/bsr/psr_plan.h"

#include <algorithm>

#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "constants/bsr/crossing.h"

namespace kalvor::BinarySplitting {
namespace {

// From this many blocks the folding of blocks dominates the time.
constexpr u64 kTooManyBlocks = 10000;
constexpr u64 kMaxEquilibriumBlocks = 1000;
// One bit more than the largest product of the floating-point transform in cache (table threshold 208896
// bits).
constexpr double kSmallestBlockBits = 208897;
constexpr double kFewestSmallestBlocks = 16;

void append(const Series& series, u64 a, u64 b, PsrBlocks& blocks) {
    const u64 precision = series.precision_words(a);
    blocks.push_back({a, b, precision, series.precision_words(b), precision >= series.plan_words(a, b)});
}

// The end of the block that starts at s and has log_size of about `limit`.
u64 limited_end(const Series& series, u64 s, double limit) {
    return first_reaching<double>(s, series.terms(), limit,
                                  [&](u64 k) { return series.log_size_resolved(s, k); });
}

u64 equilibrium_end(const Series& series, u64 s) {
    return first_reaching<DoubleDouble>(s, series.terms(), DoubleDouble(0.0), [&](u64 k) {
        return series.log_size_dd(s, k) - series.log_remaining(k);
    });
}

// Every block but the last reaches the limit, and each has a term.
void refuse_too_many(const Series& series, u64 s, double limit) {
    if (series.terms() - s <= kMostBlocks) return;
    const double blocks = series.log_size_resolved(s, series.terms()) / limit;
    if (blocks <= static_cast<double>(kMostBlocks)) return;
    throw LimitExceededException(
        "plan_blocks()", "The series takes more than " + Console::format_commas(kMostBlocks) + " blocks.",
        kMostBlocks, blocks < 0x1p63 ? static_cast<u64>(blocks) : u64(1) << 63);
}

}  // namespace

double aggressive_limit(u64 tds) {
    u64 n = 1;
    while (n < 2 * tds) n *= 2;
    return kSmallestBlockBits * static_cast<double>(n) * dd::ln2().high;
}

void plan_blocks(const Series& series, u64 s, double limit, PsrPlan& plan) {
    PsrBlocks& blocks = plan.blocks;
    refuse_too_many(series, s, limit);
    while (s < series.terms()) {
        const u64 e = limited_end(series, s, limit);
        append(series, s, e, blocks);
        if (blocks.size() == kTooManyBlocks) {
            plan.remarks.push_back({"Performance Warning: PSR plan has exceeded 10000 blocks.", 'Y'});
        }
        s = e;
    }
    if (blocks.size() >= kTooManyBlocks) {
        plan.remarks.push_back(
            {"PSR plan has reached a size of " + Console::format_commas(blocks.size()), 'Y'});
        plan.remarks.push_back({"It is not recommended to proceed with such a computation.", 'Y'});
        plan.remarks.push_back(
            {"If you are seeing this message, it means the series is either too slow or", 'Y'});
        plan.remarks.push_back({"there is something wrong with its convergence behavior.", 'Y'});
    }
}

PsrPlan plan_equilibrium(const Series& series, u64 block_limit_words, u64 tds) {
    const double largest = static_cast<double>(block_limit_words) * dd::ln2_64().high;
    // With very many tasks the smallest block worth spreading would be the whole series; blocks still must
    // shrink with the precision that their places need.
    const double smallest =
        std::min(aggressive_limit(tds), std::max(aggressive_limit(1), largest / kFewestSmallestBlocks));
    PsrPlan plan;
    PsrBlocks& blocks = plan.blocks;
    u64 s = series.first();
    while (s < series.terms()) {
        u64 e = equilibrium_end(series, s);
        const double size = series.log_size_resolved(s, e);
        if (blocks.size() == kMaxEquilibriumBlocks) {
            plan.remarks.push_back({"Equilibrium swap PSR plan has exceeded 1000 blocks.", 'Y'});
            plan.remarks.push_back({"Dropping down to aggressive PSR in memory...", 'Y'});
            plan_blocks(series, s, smallest > size ? smallest : size, plan);
            break;
        }
        if (size < smallest) {
            plan_blocks(series, s, smallest, plan);
            break;
        }
        if (size > largest) e = limited_end(series, s, largest);
        append(series, s, e, blocks);
        s = e;
    }
    return plan;
}

PsrPlan plan_single_block(const Series& series) {
    PsrPlan plan;
    plan.blocks.push_back({series.first(), series.terms(), series.precision(), 0, true});
    return plan;
}

PsrPlan plan_series(const Series& series, u64 block_limit_words, u64 tds) {
    return series.one_block() ? plan_single_block(series) : plan_equilibrium(series, block_limit_words, tds);
}

}  // namespace kalvor::BinarySplitting
