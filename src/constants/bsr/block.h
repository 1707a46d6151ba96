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
//   merge_float_needs(left, right, out, precision, room)
//   leaf(series, a, b, out, edge, memory)                the word-level recursion
//   merge(context, subtract, left, right, out, edge)     exact; subtract: the right half has the other sign
//   merge_float(context, subtract, left, right, out, precision, link_precision, edge)
//
// Exact results carry residues; a family never reads the words of `left` or `right` after it wrote `out`.
//
// Memory is one stack, MultiplyContext::scratch: a range's results go to buffers of its parent, the results
// of its left half are carved from the stack, then those of its right half, then what the merge needs. A plan
// walks the same splits as the run and finds the deepest point.
//
// A merge may keep the transform of a factor that it uses twice, or do its products one by one: that takes a
// little more time and much less memory. The run keeps transforms where the stack has room for them; the plan
// makes room for them as long as that does not raise the peak of the whole computation.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "arith/bigfloat/big_float.h"
#include "arith/exact/exact_float.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/multiply_context.h"
#include "base/errors/exceptions.h"
#include "base/errors/fatal.h"
#include "base/status/silent_status.h"
#include "base/status/status_scope.h"
#include "constants/bsr/psr_plan.h"
#include "constants/bsr/series.h"
#include "constants/bsr/series_work.h"
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
    u64 bytes = 0;          // of MultiplyContext::scratch, a multiple of 64
    u64 product_words = 0;  // the longest product

    void take_maximum(const BlockNeeds& other) {
        bytes = std::max(bytes, other.bytes);
        product_words = std::max(product_words, other.product_words);
    }
    // The same with so many words carved first.
    BlockNeeds above(u64 words) const { return {bytes + words * sizeof(Word), product_words}; }
};

// Room that is never short.
inline constexpr u64 kAnyRoom = ~u64(0);
// What is left of it above so many words.
inline u64 room_above(u64 room, u64 words) {
    if (room == kAnyRoom) return room;
    return room > words * sizeof(Word) ? room - words * sizeof(Word) : 0;
}

// Products of at most `words` words: one by one.
BlockNeeds product_needs(u64 words);
// With one kept transform beside the work of a product where that fits into `room` bytes.
BlockNeeds kept_product_needs(u64 words, u64 room);
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
    // are exact numbers; otherwise floating-point numbers at the block's working precision. room: bytes that
    // cost nothing; when the tasks would take more, fewer levels are spread over them.
    BSR_BlockB(const Series& series, const PsrBlock& block, bool right_edge, bool exact, u64 tds,
               u64 room = kAnyRoom)
        : series_(&series), block_(block), right_edge_(right_edge), exact_(exact), tds_(tds) {
        capacities_ = exact ? capacities(block.a, block.b) : float_capacities(block.a, block.b);
        const double size = series.log_size(block.a, block.b);
        const double nats_each = aggressive_limit(tds) * kLeafBlocks;
        u64 depth = 0;
        while (std::ldexp(size, -static_cast<int>(depth)) > nats_each) depth++;
        choose(depth, room);
        for (u64 i = 0; i < kMoreDepth && tds > 1 && needs_.bytes > room; i++) {
            const BSR_BlockB before = *this;
            choose(++depth, room);
            if (needs_.bytes >= before.needs_.bytes) *this = before;
        }
    }

    bool exact() const { return exact_; }
    u64 tds() const { return tds_; }
    const PsrBlock& block() const { return block_; }
    const Capacities<F>& capacities() const { return capacities_; }
    const BlockNeeds& needs() const { return needs_; }

    // What a run adds to the meter of its status.
    double work() const { return exact_ ? range_work(block_.a, block_.b) : float_work(block_.a, block_.b); }

    // Sums the block into buffers of capacities() words. context.scratch holds needs().
    void run(const MultiplyContext& context, Status& status, ExactRange<F>& out) const {
        check(context, out);
        run_B(context, status, block_.a, block_.b, depth_, out);
    }
    void run(const MultiplyContext& context, Status& status, FloatRange<F>& out) const {
        check(context, out);
        run_float(context, status, block_.a, block_.b, depth_, out);
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
    // Levels below a task's range that the plan follows exactly, down to ranges of kPlanTerms.
    static constexpr int kPlanLevels = 6;
    static constexpr u64 kPlanTerms = 2048;
    // Upper levels tried in vain before the plan takes the memory it needs.
    static constexpr u64 kMoreDepth = 8;

    void choose(u64 depth, u64 room) {
        depth_ = depth;
        needs_ = exact_ ? needs_B(block_.a, block_.b, depth, room)
                        : float_needs(block_.a, block_.b, tds_, depth, room);
    }

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

    BlockNeeds merge_needs(u64 a, u64 m, u64 b, u64 room) const {
        const u64 sum_words = F::capacities(*series_, a, b)[0];
        const u64 product = F::merge_products(capacities(a, m), F::capacities(*series_, m, b));
        return kept_product_needs(product, room_above(room, sum_words)).above(sum_words);
    }
    // Both halves one after the other. They are of one size but for a few words, so what the left one needs
    // stands below what the right one needs above the left one's results: a plan follows the right one alone,
    // one path for any number of terms.
    template <class Right>
    BlockNeeds halves(u64 a, u64 m, u64 b, u64 room, Right&& right) const {
        const u64 left_words = total_words(capacities(a, m)), right_words = total_words(capacities(m, b));
        const u64 rest = room_above(room, left_words + right_words);
        BlockNeeds needs = right(rest);
        needs.take_maximum(merge_needs(a, m, b, rest));
        return needs.above(left_words + right_words);
    }
    // Both halves at once, each with half of what remains.
    template <class Left, class Right>
    BlockNeeds twice(u64 a, u64 m, u64 b, u64 room, Left&& left, Right&& right) const {
        const u64 words = total_words(capacities(a, m)) + total_words(capacities(m, b));
        const u64 rest = room_above(room, words);
        const u64 each = rest == kAnyRoom ? rest : rest / 2;
        BlockNeeds needs = left(each);
        needs.take_maximum(right(each));
        needs.bytes *= 2;
        needs.take_maximum(merge_needs(a, m, b, rest));
        return needs.above(words);
    }

    // Each level carves the results of both its halves, which take the words of their terms and padding.
    u64 small_words() const {
        return 3 * F::term_words(*series_) * kSmallTerms + 1024 +
               trel::round_up_8(4 * series_->growth_words() * series_->leaf_threshold());
    }
    BlockNeeds needs_sequential(u64 a, u64 b, int levels, u64 room) const {
        const Capacities<F> words = F::capacities(*series_, a, b);
        if (b - a <= kSmallTerms) {
            return kept_product_needs(F::merge_products(words, words), kAnyRoom).above(small_words());
        }
        const u64 m = series_->split(a, b);
        if (levels > 0 && b - a > kPlanTerms) {
            return halves(a, m, b, room, [&](u64 rest) { return needs_sequential(m, b, levels - 1, rest); });
        }
        // Halves of halves: the sizes form a geometric series, but for padding. The longest product is not
        // where the stack is deepest: it stands on the results of its own halves alone.
        const u64 top = total_words(capacities(a, m)) + total_words(capacities(m, b));
        BlockNeeds merge = merge_needs(a, m, b, room_above(room, top)).above(top);
        const u64 chain = trel::round_up_8(total_words(words) * 9 / 4) + 8192;
        const Capacities<F> lower = F::capacities(*series_, a, m), upper = F::capacities(*series_, m, b);
        const u64 half = std::max(F::merge_products(lower, lower), F::merge_products(upper, upper)) / 2 + 64;
        merge.take_maximum(kept_product_needs(half, room_above(room, chain)).above(chain));
        merge.take_maximum(kept_product_needs(basecase_words(), kAnyRoom).above(chain + small_words()));
        return merge;
    }
    BlockNeeds needs_T(u64 a, u64 b, u64 tds, u64 room) const {
        if (tds < 2 || !splits(a, b)) return needs_sequential(a, b, kPlanLevels, room);
        const u64 m = series_->split_point(a, b);
        return twice(
            a, m, b, room, [&](u64 rest) { return needs_T(a, m, tds / 2, rest); },
            [&](u64 rest) { return needs_T(m, b, tds - tds / 2, rest); });
    }
    BlockNeeds needs_B(u64 a, u64 b, u64 depth, u64 room) const {
        if (depth == 0 || !splits(a, b)) return needs_T(a, b, widened(tds_), room);
        const u64 m = series_->split_point(a, b);
        return halves(a, m, b, room, [&](u64 rest) { return needs_B(m, b, depth - 1, rest); });
    }

    // ---- work for the meter: that of a range is telescoped over its halves, so that any recursion adds the same

    double range_work(u64 a, u64 b) const {
        return BinarySplitting::range_work(words_of(series_->log_size(a, b)));
    }
    double merge_work(u64 a, u64 m, u64 b) const {
        return range_work(a, b) - range_work(a, m) - range_work(m, b);
    }
    double float_work(u64 a, u64 b) const {
        if (fits(a, b)) return range_work(a, b);
        const u64 m = series_->split(a, b);
        return float_work(a, m) + float_work(m, b) + float_merge_work(precision_at(a));
    }

    // ---- the exact recursion

    void sequential(const MultiplyContext& context, trel::Work work, u64 a, u64 b, ExactRange<F>& out) const {
        if (work && !splits(a, b)) {
            sequential(context, trel::Work(), a, b, out);
            return work.add(range_work(a, b));
        }
        if (b - a < series_->leaf_threshold()) {
            F::leaf(*series_, a, b, out, edge(b), context.scratch);
            return;
        }
        const u64 m = series_->split(a, b);
        MultiplyContext inner = context;
        ExactRange<F> left = carve<ExactFloat>(inner.scratch, capacities(a, m));
        sequential(inner, work, a, m, left);
        ExactRange<F> right = carve<ExactFloat>(inner.scratch, capacities(m, b));
        sequential(inner, work, m, b, right);
        F::merge(inner, odd(a, m) && series_->alternating(), left, right, out, edge(b));
        if (work) work.add(merge_work(a, m, b));
    }

    void run_T(const MultiplyContext& context, trel::Work work, u64 a, u64 b, ExactRange<F>& out) const {
        const u64 tds = context.parallel.tds;
        if (tds < 2 || !splits(a, b)) return sequential(context.with_tds(1), work, a, b, out);
        const u64 m = series_->split_point(a, b);
        AlignedBufferC memory = context.scratch;
        ExactRange<F> left = carve<ExactFloat>(memory, capacities(a, m));
        ExactRange<F> right = carve<ExactFloat>(memory, capacities(m, b));
        trel::fork_join(
            context.parallel,
            [&] { run_T(context.with_scratch(lower_half(memory)).with_tds(tds / 2), work, a, m, left); },
            [&] {
                run_T(context.with_scratch(upper_half(memory)).with_tds(tds - tds / 2), work, m, b, right);
            });
        F::merge(context.with_scratch(memory).with_tds(std::min(tds, tds_)),
                 odd(a, m) && series_->alternating(), left, right, out, edge(b));
        if (work) work.add(merge_work(a, m, b));
    }

    void run_B(const MultiplyContext& context, Status& status, u64 a, u64 b, u64 depth,
               ExactRange<F>& out) const {
        if (depth == 0 || !splits(a, b)) {
            StatusFrame frame(status, " -> ", trel::status_digits(series_->output_words(a, b)));
            frame.node().refresh();
            return run_T(context.with_tds(widened(context.parallel.tds)), status.work(), a, b, out);
        }
        const u64 m = series_->split_point(a, b);
        MultiplyContext inner = context;
        ExactRange<F> left = carve<ExactFloat>(inner.scratch, capacities(a, m));
        {
            StatusFrame frame(status, "0");
            run_B(inner, frame.node(), a, m, depth - 1, left);
        }
        ExactRange<F> right = carve<ExactFloat>(inner.scratch, capacities(m, b));
        {
            StatusFrame frame(status, "1");
            run_B(inner, frame.node(), m, b, depth - 1, right);
        }
        StatusFrame frame(status, "-  ", trel::status_digits(series_->output_words(a, b)));
        frame.node().refresh();
        F::merge(inner, odd(a, m) && series_->alternating(), left, right, out, edge(b));
        status.work().add(merge_work(a, m, b));
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
    BlockNeeds float_needs(u64 a, u64 b, u64 tds, u64 depth, u64 room) const {
        if (fits(a, b)) return needs_T(a, b, widened(tds), room);
        const bool serial = tds < 2 || depth > 0 || !splits(a, b);
        const u64 m = series_->split(a, b);
        const u64 next = depth > 0 ? depth - 1 : 0;
        const Capacities<F> left = float_capacities(a, m), right = float_capacities(m, b);
        const u64 left_words = total_words(left), right_words = total_words(right);
        const u64 above_left = room_above(room, left_words);
        const u64 above_both = room_above(above_left, right_words);
        const BlockNeeds merge =
            F::merge_float_needs(left, right, float_capacities(a, b), precision_at(a), above_both);
        if (serial) {
            BlockNeeds needs = float_needs(m, b, tds, next, above_both);
            needs.take_maximum(merge);
            needs = needs.above(right_words);
            needs.take_maximum(float_needs(a, m, tds, next, above_left));
            return needs.above(left_words);
        }
        const u64 each = above_both == kAnyRoom ? above_both : above_both / 2;
        BlockNeeds needs = float_needs(a, m, tds / 2, next, each);
        needs.take_maximum(float_needs(m, b, tds - tds / 2, next, each));
        needs.bytes *= 2;
        needs.take_maximum(merge);
        return needs.above(left_words + right_words);
    }

    void run_float(const MultiplyContext& context, Status& status, u64 a, u64 b, u64 depth,
                   FloatRange<F>& out) const {
        const u64 tds = context.parallel.tds;
        if (fits(a, b)) {
            StatusFrame frame(status, " -> ", trel::status_digits(series_->output_words(a, b)));
            frame.node().refresh();
            ExactRange<F> exact;
            for (std::size_t i = 0; i < F::kNumbers; i++)
                exact[i] = ExactFloat(out[i].buffer, out[i].buffer_size);
            run_T(context.with_tds(widened(tds)), status.work(), a, b, exact);
            for (std::size_t i = 0; i < F::kNumbers; i++) out[i] = as_float(exact[i]);
            return;
        }
        const bool serial = tds < 2 || depth > 0 || !splits(a, b);
        const u64 m = series_->split(a, b);
        const u64 next = depth > 0 ? depth - 1 : 0;
        MultiplyContext inner = context;
        FloatRange<F> left = carve<BigFloat>(inner.scratch, float_capacities(a, m)), right;
        if (serial) {
            {
                StatusFrame frame(status, "0");
                run_float(inner, frame.node(), a, m, next, left);
            }
            right = carve<BigFloat>(inner.scratch, float_capacities(m, b));
            StatusFrame frame(status, "1");
            run_float(inner, frame.node(), m, b, next, right);
        } else {
            right = carve<BigFloat>(inner.scratch, float_capacities(m, b));
            trel::fork_join(
                context.parallel,
                [&] {
                    trel::SilentStatus silent(status.work());
                    run_float(inner.with_scratch(lower_half(inner.scratch)).with_tds(tds / 2), silent, a, m,
                              next, left);
                },
                [&] {
                    trel::SilentStatus silent(status.work());
                    run_float(inner.with_scratch(upper_half(inner.scratch)).with_tds(tds - tds / 2), silent,
                              m, b, next, right);
                });
        }
        StatusFrame frame(status, "-  ", trel::status_digits(precision_at(a)));
        frame.node().refresh();
        F::merge_float(inner, odd(a, m) && series_->alternating(), left, right, out, precision_at(a),
                       link_precision_at(b), edge(b));
        status.work().add(float_merge_work(precision_at(a)));
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
