// The family of series whose terms fall faster than any power: ranges yield P and Q with
//
//   P / Q = sum over k in (a, b] of s_k P(k) / (Q(a + 1) ... Q(k)),
//
// Q the product of the terms' Q(k). A range split at m merges by
//
//   Q = Q1 Q2,   P = P1 Q2 + s P2,
//
// s = -1 when the series alternates and the left half has an odd number of terms. Then the terms are
// magnitudes, and the sum of a range is relative to the sign of its first term. Series whose terms have signs
// that follow no rule do not alternate: their leaves give P and Q with signs, and P may be zero.
#pragma once

#include <algorithm>

#include "base/names/names.h"
#include "constants/bsr/family.h"

namespace kalvor::BinarySplitting::Hyperdescent {

class Series : public BinarySplitting::Series {
  public:
    // The most words of one term's numbers.
    struct TermWords {
        u64 P, Q;
        // Words that each further term adds to all numbers together.
        u64 growth() const { return std::max(P, Q) + Q; }
        // Words of the numbers of n terms, while they are computed: a word for the sum of n products of one P
        // and up to n - 1 of the others, and one above.
        TermWords of(u64 n) const { return n == 1 ? *this : TermWords{P + (n - 1) * Q + 2, n * Q}; }
    };

    Series(const Parameters& parameters, const TermWords& term_words)
        : BinarySplitting::Series(parameters), term_words_(term_words) {}

    // Sizes of a range's numbers, never below the truth. That of P bounds |P1 Q2| + |P2| for every merge of
    // the range. By default both have F.
    virtual double log_size_P(u64 a, u64 b) const { return log_size_resolved(a, b); }
    virtual double log_size_Q(u64 a, u64 b) const { return log_size_resolved(a, b); }
    double log_largest(u64 a, u64 b) const override { return std::max(log_size_P(a, b), log_size_Q(a, b)); }
    // A power of two that divides Q(a + 1) ... Q(b).
    virtual u64 zero_bits_Q(u64 a, u64 b) const = 0;

    // The results of [a, b), fewer terms than the leaf threshold, in buffers of at least term_words().of()
    // the number of terms. scratch: leaf_scratch_words().
    virtual void leaf(u64 a, u64 b, ExactFloat& P, ExactFloat& Q, Word* scratch) const = 0;
    u64 leaf_scratch_words(u64 a, u64 b) const { return 4 * growth_words() * (b - a); }

    const TermWords& term_words() const { return term_words_; }

  private:
    TermWords term_words_;
};

enum : std::size_t { kP = 0, kQ = 1 };

struct Family {
    using Series = Hyperdescent::Series;
    static constexpr std::size_t kNumbers = 2;
    static constexpr std::size_t kLink = kNoLink;
    static constexpr const char* kBanner = "Series Hyperdescent...  ";
    using Exact = std::array<ExactFloat, kNumbers>;
    using Floats = std::array<BigFloat, kNumbers>;
    using Words = std::array<u64, kNumbers>;

    static Words capacities(const Series& series, u64 a, u64 b);
    static u64 term_words(const Series& series) { return series.term_words().growth(); }
    static u64 float_words(u64 precision) { return round_up_8(precision + 4); }
    static u64 split(const Series& series, u64 a, u64 b) { return series.split(a, b); }
    static Needs merge_needs(const MergeSizes<Family>& sizes);
    static Needs float_needs(const MergeSizes<Family>& sizes, u64 precision);
    static void leaf(const MultiplyContext& context, const Series& series, u64 a, u64 b, Exact& out,
                     bool edge);
    static void merge(const MultiplyContext& context, bool subtract, const Exact& left, const Exact& right,
                      Exact& out, bool edge);
    static void merge_float(const MultiplyContext& context, bool subtract, const Floats& left,
                            const Floats& right, Floats& out, u64 precision, u64 link_precision, bool edge);
};

}  // namespace kalvor::BinarySplitting::Hyperdescent
