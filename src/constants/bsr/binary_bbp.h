// The family of sums of independent fractions with a power of two each: ranges yield P and Q with
//
//   P / Q = sum over k in (a, b] of s_k 2^(shift - power k) P(k) / Q(k),
//
// Q the product of the terms' Q(k). Signs and powers of two are absolute, from the leaf on: P is an exact
// number whose exponent carries them. A range split at m merges by
//
//   Q = Q1 Q2,   P = P1 Q2 + P2 Q1,
//
// where the two products may have different signs, and P may be zero. Such a series does not alternate.
//
// (Bailey, Borwein and Plouffe 1997.)
#pragma once

#include <algorithm>

#include "base/names/names.h"
#include "constants/bsr/family.h"

namespace kalvor::BinarySplitting::BinaryBBP {

class Series : public BinarySplitting::Series {
  public:
    // The most words of one term's P(k) and Q(k).
    struct TermWords {
        u64 P, Q;
    };

    // power: the bits by which a term's power of two is below that of the term before it.
    Series(const Parameters& parameters, const TermWords& term_words, u64 power)
        : BinarySplitting::Series(parameters), term_words_(term_words), power_(power) {}

    u64 power() const { return power_; }
    // Words of one term's buffers: its power of two may take a word more than P(k).
    TermWords leaf_words() const { return {term_words_.P + 1, term_words_.Q}; }
    // Words of the numbers of n terms, while they are computed. P is a sum of n products of one P and n - 1
    // Q, the first of them higher than the last by the power of two between them; that lies anywhere in a
    // word, the sum of n takes one more, and the addition wants one above.
    TermWords words_of_terms(u64 n) const {
        if (n == 1) return leaf_words();
        return {term_words_.P + (n - 1) * term_words_.Q + (n - 1) * power_ / 64 + 4, n * term_words_.Q};
    }
    // Words that each further term adds to all numbers together.
    u64 growth() const { return std::max(term_words_.P, term_words_.Q) + term_words_.Q + power_ / 64 + 1; }

    // Sizes of a range's numbers, never below the truth. That of P bounds |P1 Q2| + |P2 Q1| for every merge
    // of the range, in units of the power of two of its last term.
    virtual double log_size_P(u64 a, u64 b) const = 0;
    virtual double log_size_Q(u64 a, u64 b) const = 0;
    double log_largest(u64 a, u64 b) const override { return std::max(log_size_P(a, b), log_size_Q(a, b)); }
    // A power of two that divides Q(a + 1) ... Q(b).
    virtual u64 zero_bits_Q(u64 a, u64 b) const = 0;

    // The results of [a, b), fewer terms than the leaf threshold, in buffers of at least words_of_terms() of
    // the number of terms. scratch: leaf_scratch_words().
    virtual void leaf(u64 a, u64 b, ExactFloat& P, ExactFloat& Q, Word* scratch) const = 0;
    u64 leaf_scratch_words(u64 a, u64 b) const { return 4 * growth_words() * (b - a); }

  private:
    TermWords term_words_;
    u64 power_;
};

// What a leaf does to P(k) at last: P = -+P 2^bits, with its residue.
void set_power_and_sign(ExactFloat& P, i64 bits, bool negative);

enum : std::size_t { kP = 0, kQ = 1 };

struct Family {
    using Series = BinaryBBP::Series;
    static constexpr std::size_t kNumbers = 2;
    static constexpr std::size_t kLink = kNoLink;
    static constexpr const char* kBanner = "Series BinaryBBP...  ";
    using Exact = std::array<ExactFloat, kNumbers>;
    using Floats = std::array<BigFloat, kNumbers>;
    using Words = std::array<u64, kNumbers>;

    static Words capacities(const Series& series, u64 a, u64 b);
    static u64 term_words(const Series& series) { return series.growth(); }
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

static_assert(SeriesFamily<Family>);

}  // namespace kalvor::BinarySplitting::BinaryBBP
