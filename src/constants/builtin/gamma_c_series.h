// The third sum of Brent and McMillan's refined method (1980),
//
//   C = 1/(4n) sum over j = 0 ... 2n of ((2j)!)^3 / ((j!)^4 (16n)^(2j)),   n = 2^m.
//
// As a series of the hypergeometric family the term 0 stands apart, and
//
//   P(j) = R(j) = (2j - 1)^3,   Q(j) = j 2^(2m + 5)
#pragma once

#include "base/names/names.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/evaluator/evaluator.h"

namespace kalvor {

class GammaCSeries final : public BinarySplitting::CommonP2B3::Series {
  public:
    // m from 0 to 50.
    GammaCSeries(u64 m, u64 precision_words);

    double log_size_to(u64 k) const override;
    DoubleDouble log_size_to_dd(u64 k) const override;
    DoubleDouble log_remaining(u64 k) const override;
    double log_size_P(u64 a, u64 b) const override;
    double log_size_Q(u64 a, u64 b) const override;
    double log_size_R(u64 a, u64 b) const override;
    u64 zero_bits_Q(u64 a, u64 b) const override { return (b - a) * (2 * m_ + 5); }
    void term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const override;

    // The first index whose term is below a precision and two more; at most 2n.
    static u64 term_count(u64 m, u64 precision_words);

  private:
    const u64 m_;
};

// C.
class GammaC final : public EvaluatorFactory {
  public:
    explicit GammaC(u64 m) : m_(m) {}
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const u64 m_;
};

}  // namespace kalvor
