// What binary splitting knows of a family of series: how many numbers a range yields, how large they are,
// where ranges are split and how they are merged. block_plan.h, block_run.h and psr_series.h work for any
// family.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>

#include "arith/bigfloat/big_float.h"
#include "arith/exact/exact_float.h"
#include "arith/multiply/multiply_context.h"
#include "arith/multiply/needs.h"
#include "base/names/names.h"
#include "constants/bsr/series.h"
#include "constants/bsr/term_span.h"

namespace kalvor::BinarySplitting {

// A range's numbers, and the terms that they are the sum of: set where a leaf is summed, joined at merges, so
// that a range that is lost, taken twice or put in the wrong place is noticed (term_span.h).
template <class Number, std::size_t K>
struct RangeNumbers : std::array<Number, K> {
    TermSpan terms = {};
};
template <class F>
using ExactRange = RangeNumbers<ExactFloat, F::kNumbers>;
template <class F>
using FloatRange = RangeNumbers<BigFloat, F::kNumbers>;
// Words of each number's buffer, multiples of 8; 0 for a number that is not needed.
template <class F>
using Capacities = std::array<u64, F::kNumbers>;

// For F::kLink of a family all of whose numbers are needed at the end of the series.
inline constexpr std::size_t kNoLink = ~std::size_t(0);

// The three ranges of a merge and what is known of them.
template <class F>
struct MergeSizes {
    Capacities<F> left, right;  // of the halves
    Capacities<F> out;          // of the result, the link included
    u64 room;                   // bytes that cost nothing, for kept transforms (kAnyRoom: any number)
    bool bounds = false;        // the buffers may be shorter, for ranges that one plan answers for
};

// A family is a struct of static members. Exact results carry residues. A merge never reads the words of
// `left` or `right` after it wrote `out`, and stays inside its needs.
//
//   Series         its series class
//   kNumbers       numbers that a range yields (P, Q, ...); number 0 is the sum's numerator
//   kLink          the number that is not needed where nothing follows the range (its edge), or kNoLink
//   kBanner        what the sum is announced with
//   capacities     upper bounds in words of a range's exact results while they are computed
//   term_words     words of one term's results together
//   float_words    words of a floating-point result's buffer
//   split          where a range of two terms or more is split
//   merge_needs    of the exact merge
//   float_needs    of the floating-point merge at a precision, in words
//   leaf           the word-level recursion; context.scratch as the series says
//   merge          exact; subtract: the right half has the other sign
//   merge_float    right may come from the accumulator of a sum; results keep `precision` + 2 words, the link
//                  `link_precision` + 2
template <class F>
concept SeriesFamily = std::derived_from<typename F::Series, Series> &&
    requires(const typename F::Series& series, u64 n, bool flag, const MergeSizes<F>& sizes,
             const MultiplyContext& context, ExactRange<F>& exact, FloatRange<F>& floats) {
    { F::kNumbers } -> std::convertible_to<std::size_t>;
    { F::kLink } -> std::convertible_to<std::size_t>;
    { F::kBanner } -> std::convertible_to<const char*>;
    { F::capacities(series, n, n) } -> std::same_as<Capacities<F>>;
    { F::term_words(series) } -> std::same_as<u64>;
    { F::float_words(n) } -> std::same_as<u64>;
    { F::split(series, n, n) } -> std::same_as<u64>;
    { F::merge_needs(sizes) } -> std::same_as<Needs>;
    { F::float_needs(sizes, n) } -> std::same_as<Needs>;
    F::leaf(context, series, n, n, exact, flag);
    F::merge(context, flag, exact, exact, exact, flag);
    F::merge_float(context, flag, floats, floats, floats, n, n, flag);
};

template <std::size_t K>
u64 total_words(const std::array<u64, K>& capacities) {
    u64 n = 0;
    for (const u64 words : capacities) n += words;
    return n;
}

// Buffers for a range's numbers.
template <class Number, std::size_t K>
RangeNumbers<Number, K> carve_range(AlignedBufferC& memory, const std::array<u64, K>& capacities) {
    RangeNumbers<Number, K> range;
    for (std::size_t i = 0; i < K; i++) range[i] = carve<Number>(memory, capacities[i]);
    return range;
}

}  // namespace kalvor::BinarySplitting
