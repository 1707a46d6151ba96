// The area cotangent of a whole number:
//
//   arccoth(m) = sum over k >= 0 of 1 / ((2k + 1) m^(2k + 1)) = 1/2 ln((m + 1) / (m - 1))
//
// As a series of the hypergeometric family the term 0 stands apart, and
//
//   P(k) = 1,   R(k) = 2k + 1,   Q(k) = (2k + 1) m^2
//
// Leaves take common factors out of the numbers of a range (arccoth_leaf.h).
#pragma once

#include <string>

#include "base/names/names.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/builtin/arccoth_leaf.h"
#include "constants/evaluator/evaluator.h"

namespace kalvor {

// m with what follows from it. Throws InvalidParametersException for m < 2 and when m^2 exceeds a word.
struct ArcCothArgument {
    explicit ArcCothArgument(Word argument);

    Word m, square;
    std::shared_ptr<const ArcCothLeaf> leaf;
    DoubleDouble gain;  // nats by which a term falls at least: ln m^2
};

class ArcCothSeries final : public BinarySplitting::CommonP2B3::Series {
  public:
    ArcCothSeries(const ArcCothArgument& argument, u64 precision_words);

    double log_size_to(u64 k) const override;
    DoubleDouble log_size_to_dd(u64 k) const override;
    DoubleDouble log_remaining(u64 k) const override;
    double log_size_R(u64 a, u64 b) const override;
    u64 zero_bits_Q(u64 a, u64 b) const override;
    double log_size_P(u64 a, u64 b) const override { return log_size_Q(a, b); }
    double log_size_Q(u64 a, u64 b) const override;
    void leaf(u64 a, u64 b, ExactFloat& P, ExactFloat& Q, ExactFloat& R, bool edge, Word* scratch,
              const ParallelContext& parallel) const override;

    static u64 term_count(const ArcCothArgument& argument, u64 precision_words);

  private:
    const ArcCothArgument argument_;
    const double saved_;  // of each term, in the middle of a long series
    const DoubleDouble growth_, full_;
};

// (coefficient * arccoth(m))^power.
class ArcCoth final : public EvaluatorFactory {
  public:
    // Throws the same as the argument, for a coefficient of 0, and for a power other than 1 and -1.
    ArcCoth(i64 coefficient, Word m, i64 power = 1);
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;
    // The heading of its run: "18 ArcCoth( 26 ):".
    std::string label() const;

  private:
    const i64 coefficient_;
    const ArcCothArgument argument_;
    const int power_;
};

}  // namespace kalvor
