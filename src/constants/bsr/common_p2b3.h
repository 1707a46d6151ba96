// The hypergeometric family: ranges yield P, Q and R with
//
//   P / Q = sum over k in (a, b] of s_k P(k) R(a + 1) ... R(k - 1) / (Q(a + 1) ... Q(k)),
//
// Q and R the products of the terms' Q(k) and R(k). A range split at m merges by
//
//   R = R1 R2,   Q = Q1 Q2,   P = P1 Q2 + s R1 P2,
//
// s = -1 when the series alternates and the left half has an odd number of terms. Then the terms are
// magnitudes, and the sum of a range is relative to the sign of its first term. Series whose terms have signs
// that follow no rule do not alternate: their leaves give P and R with signs, and P may be zero. Q and R
// never are.
//
// (Binary splitting: Brent 1976; Haible and Papanikolaou 1997.)
#pragma once

#include <algorithm>

#include "base/names/names.h"
#include "constants/bsr/family.h"

namespace kalvor::BinarySplitting::CommonP2B3 {

class Series : public BinarySplitting::Series {
  public:
    // The most words of one term's numbers.
    struct TermWords {
        u64 P, Q, R;
        // Words that each further term adds to all numbers together: P of a range grows by a Q or an R, which
        // may be longer than a P.
        u64 growth() const { return std::max({P, Q, R}) + Q + R; }
        // Words of the numbers of n terms, while they are computed. P is a sum of n products of one P and n -
        // 1 of the others, so that one word more holds it, and its sums want one above.
        TermWords of(u64 n) const {
            return n == 1 ? *this : TermWords{P + (n - 1) * std::max(Q, R) + 2, n * Q, n * R};
        }
    };

    Series(const Parameters& parameters, const TermWords& term_words)
        : BinarySplitting::Series(parameters), term_words_(term_words) {}

    // |P(k)|, |Q(k)|, |R(k)|, k >= 1, into buffers of at least term_words(). For leaf() as it is here.
    virtual void term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const;
    // The results of [a, b), fewer terms than the leaf threshold. R is left out at an edge. scratch:
    // leaf_scratch_words(), no more than most_leaf_words(). By default the magnitudes of bsr_end().
    // It runs on the calling thread, whatever the number of tasks.
    virtual void leaf(u64 a, u64 b, ExactFloat& P, ExactFloat& Q, ExactFloat& R, bool edge, Word* scratch,
                      const ParallelContext& parallel) const;
    virtual u64 leaf_scratch_words(u64 a, u64 b) const {
        return 4 * growth_words() * (b - a) + term_words_.R;
    }
    u64 most_leaf_words() const override { return 4 * growth_words() * leaf_threshold() + term_words_.R; }
    // Sizes of a range's numbers, never below the truth. That of P bounds |P1 Q2| + |R1 P2| for every merge
    // of the range. By default P and Q have F.
    virtual double log_size_P(u64 a, u64 b) const { return log_size_resolved(a, b); }
    virtual double log_size_Q(u64 a, u64 b) const { return log_size_resolved(a, b); }
    virtual double log_size_R(u64 a, u64 b) const = 0;
    // R of a sum that converges is below Q.
    double log_largest(u64 a, u64 b) const override { return std::max(log_size_P(a, b), log_size_Q(a, b)); }
    // A power of two that divides Q(a + 1) ... Q(b).
    virtual u64 zero_bits_Q(u64 a, u64 b) const = 0;

    const TermWords& term_words() const { return term_words_; }

    // The word-level leaf: the results of [a, b), computed down to single terms. scratch: bsr_end_words(),
    // which is below 4 growth_words() per term. R is left out when its buffer is empty and the range has more
    // than one term.
    void bsr_end(u64 a, u64 b, BasicIntR& P, BasicIntR& Q, BasicIntR& R, Word* scratch) const;
    // Scratch words for n terms.
    u64 bsr_end_words(u64 n) const;

  private:
    TermWords term_words_;
};

enum : std::size_t { kP = 0, kQ = 1, kR = 2 };

struct Family {
    using Series = CommonP2B3::Series;
    static constexpr std::size_t kNumbers = 3;
    static constexpr std::size_t kLink = kR;
    static constexpr const char* kBanner = "Series CommonP2B3...  ";
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

}  // namespace kalvor::BinarySplitting::CommonP2B3
