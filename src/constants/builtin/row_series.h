// A row of the built-in series as a series that binary splitting runs.
//
// Numbers of a range [a, b), in nats, with d the degree, C Q's leading coefficient, s the shift:
//
//   Q   d ln(b! / a!) + (b - a) ln C + the sum of s / k over a + 1 .. b, as ln(1 + x) <= x. That sum is at
//       most s ln((b + 1/2) / (a + 1/2)), and s ln((b + 1) / (a + 1)) for a negative s.
//   R   d ln(b! / a!) + (b - a) (ln C - gain): its factors are ak - b, b >= 0
//   P   Q times P(a + 1) / Q(a + 1), as a sum is no more than its first term, or little more
//
// Series of a few hundred terms and more have leaves of thousands of terms that leave out shared factors;
// then all three are less by what is saved.
#pragma once

#include <memory>

#include "base/names/names.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/builtin/built_in_series.h"
#include "constants/builtin/factored_leaf.h"

namespace kalvor {

class RowSeries final : public BinarySplitting::CommonP2B3::Series {
  public:
    // The row outlives it.
    RowSeries(const BuiltInSeries& row, u64 precision_words);

    double log_size_to(u64 k) const override;
    DoubleDouble log_size_to_dd(u64 k) const override;
    DoubleDouble log_remaining(u64 k) const override;
    double log_size_P(u64 a, u64 b) const override;
    double log_size_Q(u64 a, u64 b) const override;
    double log_size_R(u64 a, u64 b) const override;
    u64 zero_bits_Q(u64 a, u64 b) const override;
    void term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const override;
    void leaf(u64 a, u64 b, ExactFloat& P, ExactFloat& Q, ExactFloat& R, bool edge, Word* scratch,
              const ParallelContext& parallel) const override;
    u64 leaf_scratch_words(u64 a, u64 b) const override;
    u64 most_leaf_words() const override;
    // Nats that the numbers of a range are less than the products of the terms' numbers, at least.
    double saved(u64 a, u64 b) const;

  private:
    RowSeries(const BuiltInSeries& row, u64 precision_words, std::shared_ptr<const FactoredLeaf> leaf);
    // Scratch words of a leaf of n terms as they are.
    u64 plain_leaf_words(u64 n) const;
    // The terms of which F saves something, of k.
    static double saving_terms(double k);

    // d ln(b! / a!) + (b - a) each
    double factors(u64 a, u64 b, const DoubleDouble& each) const;

    const BuiltInSeries& row_;
    const std::shared_ptr<const FactoredLeaf> leaf_;  // null: none
    const double saved_each_;                         // of each term of long ranges, at least
    const DoubleDouble degree_, gain_, growth_, full_;
    const DoubleDouble each_Q_, each_R_;  // beside k^degree
    const double fold_;                   // ln p(1) - gain; 0 where P is not folded
};

}  // namespace kalvor
