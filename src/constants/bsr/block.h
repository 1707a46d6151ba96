// The in-memory recursion of binary splitting over one block, for any family of series.
//
// A family F is a struct of static members:
//
//   Series                       its series class
//   kNumbers                     numbers a range yields (P, Q, ...)
//   kLastIsLink                  the last number is not needed where nothing follows the range (its edge)
//   kBanner                      what the sum is announced with
//   capacities(series, a, b)     upper bounds in words of a range's exact results while they are computed
//   term_words(series)           words of one term's results together
//   float_words(precision)       words of a floating-point result's buffer
//   merge_products(left, right)  words of a merge's longest product, from the capacities of its halves
//   leaf(series, a, b, out, edge, work)                        the word-level recursion
//   merge(context, subtract, left, right, out, edge, work)     exact; subtract: the right half has the other
//   sign merge_float(context, subtract, left, right, out, precision, link_precision, edge, work)
//
// Exact results carry residues; a family never reads the words of `left` or `right` after it wrote `out`.
//
// Memory is a stack: a range's results go to buffers of its parent, the results of its left half are carved
// from the work area, then those of its right half. A plan walks the same splits as the run and sums what
// they carve.
#pragma once

#include <algorithm>
#include <array>
#include <string>

#include "arith/bigfloat/big_float.h"
#include "arith/exact/exact_float.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/multiply_context.h"
#include "base/errors/exceptions.h"
#include "base/errors/fatal.h"
#include "base/status/status_scope.h"
#include "constants/bsr/psr_plan.h"
#include "constants/bsr/series.h"
#include "platform/parallel/basic_parallelizer.h"

namespace kalvor::BinarySplitting {

using trel::AlignedBufferC;
using trel::BigFloat;
using trel::ExactFloat;
using trel::MultiplyContext;
using trel::Status;
using trel::StatusFrame;

template <class F>
using ExactRange = std::array<ExactFloat, F::kNumbers>;
template <class F>
using FloatRange = std::array<BigFloat, F::kNumbers>;
template <class F>
using Capacities = std::array<u64, F::kNumbers>;  // words, multiples of 8; 0 for a number that is not needed

// What a step needs beside the buffers of its results.
struct BlockNeeds {
    u64 work_words = 0;
    u64 scratch_bytes = 0;  // of MultiplyContext::scratch
    u64 product_words = 0;  // the longest product

    void take_maximum(const BlockNeeds& other) {
        work_words = std::max(work_words, other.work_words);
        scratch_bytes = std::max(scratch_bytes, other.scratch_bytes);
        product_words = std::max(product_words, other.product_words);
    }
};

// Scratch of products of at most `words` words that keep one transform beside the two of a product.
BlockNeeds product_needs(u64 words);
// The longest product that is not done with transforms.
u64 basecase_words();

template <std::size_t K>
u64 total_words(const std::array<u64, K>& capacities) {
    u64 n = 0;
    for (const u64 words : capacities) n += words;
    return n;
}

// Carves buffers for a range's numbers.
template <class Number, std::size_t K>
std::array<Number, K> carve(AlignedBufferC& memory, const std::array<u64, K>& capacities) {
    std::array<Number, K> range;
    for (std::size_t i = 0; i < K; i++)
        range[i] = Number(memory.spawn_words(capacities[i]).word_pointer(), capacities[i]);
    return range;
}

// An exact number as a floating-point number in the same words.
inline BigFloat as_float(const ExactFloat& A) {
    BigFloat B(A.buffer, A.buffer_size);
    B.T = A.T;
    B.L = A.L;
    B.exp = A.exp;
    B.sign = A.sign;
    return B;
}

// Splits a view into two halves.
inline AlignedBufferC lower_half(const AlignedBufferC& memory) {
    AlignedBufferC copy = memory;
    return copy.spawn(memory.size() / 128 * 64);
}
inline AlignedBufferC upper_half(const AlignedBufferC& memory) {
    AlignedBufferC copy = memory;
    copy.spawn(memory.size() / 128 * 64);
    return copy.spawn(memory.size() / 128 * 64);
}

// The plan of one block, made before anything runs.
template <class F>
class BSR_BlockB {
  public:
    using Series = typename F::Series;

    // right_edge: nothing follows the block, so that its linking product is not needed. exact: the results
    // are exact numbers; otherwise floating-point numbers at the block's working precision.
    BSR_BlockB(const Series& series, const PsrBlock& block, bool right_edge, bool exact, u64 tds)
        : series_(&series), block_(block), right_edge_(right_edge), exact_(exact), tds_(tds) {
        const double nats_each = aggressive_limit(tds) * kLeafBlocks;
        for (double size = series.log_size(block.a, block.b); size > nats_each; size /= 2) depth_++;
        capacities_ = exact ? capacities(block.a, block.b) : float_capacities(block.a, block.b);
        needs_ = exact ? needs_B(block.a, block.b, depth_) : float_needs(block.a, block.b, tds, depth_);
    }

    bool exact() const { return exact_; }
    u64 tds() const { return tds_; }
    const PsrBlock& block() const { return block_; }
    const Capacities<F>& capacities() const { return capacities_; }
    const BlockNeeds& needs() const { return needs_; }

    // Sums the block into buffers of capacities() words. context.scratch and work hold needs().
    void run(const MultiplyContext& context, Status& status, ExactRange<F>& out, AlignedBufferC work) const {
        check(context, out);
        run_B(context, status, block_.a, block_.b, depth_, out, work);
    }
    void run(const MultiplyContext& context, Status& status, FloatRange<F>& out, AlignedBufferC work) const {
        check(context, out);
        run_float(context, status, block_.a, block_.b, depth_, out, work);
    }

  private:
    // Ranges below this are neither split over tasks nor over upper levels.
    static constexpr u64 kMinSplitTerms = 1000;
    // Upper levels end at ranges of this many smallest blocks.
    static constexpr double kLeafBlocks = 16;
    // The tasks of a leaf block, as a shift of the tasks given: small tasks balance.
    static constexpr u64 kShift = 1;
    // Ranges planned by their number of terms alone.
    static constexpr u64 kSmallTerms = 128;
    // Levels below a task's range that the plan follows exactly.
    static constexpr int kPlanLevels = 6;

    template <class Range>
    void check(const MultiplyContext& context, const Range& out) const {
        if (context.parallel.tds > tds_) {
            throw trel::InvalidParametersException(
                "BSR_BlockB::run()", "Attempted to run with a larger tds than the plan supports.");
        }
        for (std::size_t i = 0; i < F::kNumbers; i++) {
            if (out[i].buffer_size < capacities_[i]) {
                trel::assertion_failure(trel::kInvalidParameters, "BSR_BlockB::run()",
                                        "A buffer is too small.");
            }
        }
    }

    bool edge(u64 b) const { return right_edge_ && b == block_.b; }
    bool odd(u64 a, u64 m) const { return (m - a) % 2 != 0; }
    bool splits(u64 a, u64 b) const { return b - a >= kMinSplitTerms; }
    static u64 widened(u64 tds) { return tds >= 2 ? tds << kShift : tds; }

    Capacities<F> capacities(u64 a, u64 b) const {
        Capacities<F> words = F::capacities(*series_, a, b);
        if (F::kLastIsLink && edge(b)) words.back() = 0;
        return words;
    }

    // ---- needs of the exact recursion

    BlockNeeds merge_needs(u64 a, u64 m, u64 b) const {
        BlockNeeds needs = product_needs(F::merge_products(capacities(a, m), F::capacities(*series_, m, b)));
        needs.work_words = F::capacities(*series_, a, b)[0];
        return needs;
    }
    // Both halves one after the other.
    BlockNeeds halves(u64 a, u64 m, u64 b, const BlockNeeds& left, const BlockNeeds& right) const {
        BlockNeeds needs = right;
        needs.take_maximum(merge_needs(a, m, b));
        needs.work_words += total_words(capacities(m, b));
        needs.take_maximum(left);
        needs.work_words += total_words(capacities(a, m));
        return needs;
    }
    // Both halves at once, each with half of what remains.
    BlockNeeds twice(u64 a, u64 m, u64 b, const BlockNeeds& left, const BlockNeeds& right) const {
        BlockNeeds needs = left;
        needs.take_maximum(right);
        needs.work_words *= 2;
        needs.scratch_bytes *= 2;
        needs.take_maximum(merge_needs(a, m, b));
        needs.work_words += total_words(capacities(a, m)) + total_words(capacities(m, b));
        return needs;
    }

    BlockNeeds small_needs() const {
        // Each level carves the results of both its halves, which take the words of their terms and padding.
        const u64 term = F::term_words(*series_);
        BlockNeeds needs = product_needs(basecase_words());
        needs.work_words = 3 * term * kSmallTerms + 1024 + leaf_scratch_words();
        return needs;
    }
    u64 leaf_scratch_words() const {
        return trel::round_up_8(4 * series_->growth_words() * series_->leaf_threshold());
    }
    BlockNeeds needs_sequential(u64 a, u64 b, int levels) const {
        BlockNeeds small = small_needs();
        if (b - a <= kSmallTerms) {
            const Capacities<F> words = F::capacities(*series_, a, b);
            small.take_maximum(product_needs(F::merge_products(words, words)));
            return small;
        }
        const u64 m = series_->split(a, b);
        if (levels > 0) {
            return halves(a, m, b, needs_sequential(a, m, levels - 1), needs_sequential(m, b, levels - 1));
        }
        // Halves of halves: the sizes form a geometric series, but for padding.
        BlockNeeds needs = merge_needs(a, m, b);
        const u64 words = total_words(F::capacities(*series_, a, b));
        needs.work_words = trel::round_up_8(words * 9 / 4) + 8192;
        small.take_maximum(needs);
        small.work_words = needs.work_words + small_needs().work_words;
        return small;
    }
    BlockNeeds needs_T(u64 a, u64 b, u64 tds) const {
        if (tds < 2 || !splits(a, b)) return needs_sequential(a, b, kPlanLevels);
        const u64 m = series_->split_point(a, b);
        return twice(a, m, b, needs_T(a, m, tds / 2), needs_T(m, b, tds - tds / 2));
    }
    BlockNeeds needs_B(u64 a, u64 b, u64 depth) const {
        if (depth == 0 || !splits(a, b)) return needs_T(a, b, widened(tds_));
        const u64 m = series_->split_point(a, b);
        return halves(a, m, b, needs_B(a, m, depth - 1), needs_B(m, b, depth - 1));
    }

    // ---- the exact recursion

    void sequential(const MultiplyContext& context, u64 a, u64 b, ExactRange<F>& out,
                    AlignedBufferC work) const {
        if (b - a < series_->leaf_threshold()) {
            F::leaf(*series_, a, b, out, edge(b), work);
            return;
        }
        const u64 m = series_->split(a, b);
        ExactRange<F> left = carve<ExactFloat>(work, capacities(a, m));
        sequential(context, a, m, left, work);
        ExactRange<F> right = carve<ExactFloat>(work, capacities(m, b));
        sequential(context, m, b, right, work);
        F::merge(context, odd(a, m) && series_->alternating(), left, right, out, edge(b), work);
    }

    void run_T(const MultiplyContext& context, u64 a, u64 b, ExactRange<F>& out, AlignedBufferC work) const {
        const u64 tds = context.parallel.tds;
        if (tds < 2 || !splits(a, b)) return sequential(context.with_tds(1), a, b, out, work);
        const u64 m = series_->split_point(a, b);
        ExactRange<F> left = carve<ExactFloat>(work, capacities(a, m));
        ExactRange<F> right = carve<ExactFloat>(work, capacities(m, b));
        trel::fork_join(
            context.parallel,
            [&] {
                run_T(context.with_scratch(lower_half(context.scratch)).with_tds(tds / 2), a, m, left,
                      lower_half(work));
            },
            [&] {
                run_T(context.with_scratch(upper_half(context.scratch)).with_tds(tds - tds / 2), m, b, right,
                      upper_half(work));
            });
        F::merge(context.with_tds(std::min(tds, tds_)), odd(a, m) && series_->alternating(), left, right, out,
                 edge(b), work);
    }

    void run_B(const MultiplyContext& context, Status& status, u64 a, u64 b, u64 depth, ExactRange<F>& out,
               AlignedBufferC work) const {
        if (depth == 0 || !splits(a, b)) {
            StatusFrame frame(status, " -> ", trel::status_digits(series_->output_words(a, b)));
            frame.node().refresh();
            return run_T(context.with_tds(widened(context.parallel.tds)), a, b, out, work);
        }
        const u64 m = series_->split_point(a, b);
        ExactRange<F> left = carve<ExactFloat>(work, capacities(a, m));
        {
            StatusFrame frame(status, "0");
            run_B(context, frame.node(), a, m, depth - 1, left, work);
        }
        ExactRange<F> right = carve<ExactFloat>(work, capacities(m, b));
        {
            StatusFrame frame(status, "1");
            run_B(context, frame.node(), m, b, depth - 1, right, work);
        }
        StatusFrame frame(status, "-  ", trel::status_digits(series_->output_words(a, b)));
        frame.node().refresh();
        F::merge(context, odd(a, m) && series_->alternating(), left, right, out, edge(b), work);
    }

    // ---- the floating-point recursion: exact where exact results fit in the precision of their place

    u64 precision_at(u64 a) const {
        return std::min(block_.working_precision(), series_->precision_words(a) + 2);
    }
    // The linking product meets only what follows it.
    u64 link_precision_at(u64 b) const { return series_->precision_words(b) + 2; }
    bool fits(u64 a, u64 b) const {
        return b - a < series_->leaf_threshold() || series_->plan_words(a, b) <= precision_at(a);
    }
    Capacities<F> float_capacities(u64 a, u64 b) const {
        Capacities<F> words = capacities(a, b);
        if (fits(a, b)) return words;
        for (std::size_t i = 0; i < F::kNumbers; i++) {
            const bool link = F::kLastIsLink && i + 1 == F::kNumbers;
            words[i] = std::min(words[i], F::float_words(link ? link_precision_at(b) : precision_at(a)));
        }
        return words;
    }
    BlockNeeds float_needs(u64 a, u64 b, u64 tds, u64 depth) const {
        if (fits(a, b)) return needs_T(a, b, widened(tds));
        const bool serial = tds < 2 || depth > 0 || !splits(a, b);
        const u64 m = series_->split(a, b);
        const u64 next = depth > 0 ? depth - 1 : 0;
        const BlockNeeds left = float_needs(a, m, serial ? tds : tds / 2, next);
        const BlockNeeds right = float_needs(m, b, serial ? tds : tds - tds / 2, next);
        const Capacities<F> cl = float_capacities(a, m), cr = float_capacities(m, b);
        BlockNeeds merge = product_needs(F::merge_products(cl, cr));
        merge.work_words = F::float_words(precision_at(a));
        BlockNeeds needs = right;
        if (serial) {
            needs.take_maximum(merge);
            needs.work_words += total_words(cr);
            needs.take_maximum(left);
        } else {
            needs.take_maximum(left);
            needs.work_words *= 2;
            needs.scratch_bytes *= 2;
            needs.take_maximum(merge);
            needs.work_words += total_words(cr);
        }
        needs.work_words += total_words(cl);
        return needs;
    }

    void run_float(const MultiplyContext& context, Status& status, u64 a, u64 b, u64 depth,
                   FloatRange<F>& out, AlignedBufferC work) const {
        const u64 tds = context.parallel.tds;
        if (fits(a, b)) {
            StatusFrame frame(status, " -> ", trel::status_digits(series_->output_words(a, b)));
            frame.node().refresh();
            ExactRange<F> exact;
            for (std::size_t i = 0; i < F::kNumbers; i++)
                exact[i] = ExactFloat(out[i].buffer, out[i].buffer_size);
            run_T(context.with_tds(widened(tds)), a, b, exact, work);
            for (std::size_t i = 0; i < F::kNumbers; i++) out[i] = as_float(exact[i]);
            return;
        }
        const bool serial = tds < 2 || depth > 0 || !splits(a, b);
        const u64 m = series_->split(a, b);
        const u64 next = depth > 0 ? depth - 1 : 0;
        FloatRange<F> left = carve<BigFloat>(work, float_capacities(a, m)), right;
        if (serial) {
            {
                StatusFrame frame(status, "0");
                run_float(context, frame.node(), a, m, next, left, work);
            }
            right = carve<BigFloat>(work, float_capacities(m, b));
            StatusFrame frame(status, "1");
            run_float(context, frame.node(), m, b, next, right, work);
        } else {
            right = carve<BigFloat>(work, float_capacities(m, b));
            trel::fork_join(
                context.parallel,
                [&] {
                    run_float(context.with_scratch(lower_half(context.scratch)).with_tds(tds / 2),
                              trel::null_status(), a, m, next, left, lower_half(work));
                },
                [&] {
                    run_float(context.with_scratch(upper_half(context.scratch)).with_tds(tds - tds / 2),
                              trel::null_status(), m, b, next, right, upper_half(work));
                });
        }
        StatusFrame frame(status, "-  ", trel::status_digits(precision_at(a)));
        frame.node().refresh();
        F::merge_float(context, odd(a, m) && series_->alternating(), left, right, out, precision_at(a),
                       link_precision_at(b), edge(b), work);
    }

    const Series* series_;
    PsrBlock block_;
    bool right_edge_;
    bool exact_;
    u64 tds_;
    u64 depth_ = 0;
    Capacities<F> capacities_;
    BlockNeeds needs_;
};

}  // namespace kalvor::BinarySplitting
