// The third sum of Brent and McMillan's refined method (1980),
//
//   C = 1/(4n) sum over j = 0 ... 2n of ((2j)!)^3 / ((j!)^4 (16n)^(2j)),   n = 2^m.
//
// As a series of the hypergeometric family the term 0 stands apart, and
//
//   P(j) = R(j) = (2j - 1)^3,   Q(j) = j 2^(2m + 5)
#pragma once

#include <string>
#include <vector>

#include "arith/newton/division.h"
#include "base/names/names.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/bsr/psr_series.h"
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

// C (S / D)^2 for a fraction of the caller's: with C = P' / Q' that is one division, of P' S^2 by Q' D^2.
// Working memory:
//
//   [the sum's accumulator: Q][the rest of the sum, then a numerator and what products and division take]
//
// The sum's P waits in the result's buffer.
class GammaCTerm {
  public:
    // request.precision: of the result.
    GammaCTerm(u64 m, const EvaluatorRequest& request);
    // The sum's plan points at the series.
    GammaCTerm(const GammaCTerm&) = delete;
    GammaCTerm& operator=(const GammaCTerm&) = delete;

    const Needs& needs() const { return needs_; }
    SeriesBlocks series_blocks() const { return {sum_.blocks(), sum_.blocks()}; }
    // The phases "series" and "division".
    std::vector<WorkPhase> work() const;
    // x = C (S / D)^2. S and D are positive and used up; what they are wrong by is not counted; each of their
    // buffers has fraction_words(). Buffer of x and context.scratch: needs().
    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& S, BigFloat& D,
                   BigFloat& x) const;
    u64 fraction_words() const { return number_words_; }

  private:
    const u64 m_, precision_;
    const GammaCSeries series_;
    const u64 number_words_;
    const DivisionPlan division_;
    const BinarySplitting::PSR_SeriesB<BinarySplitting::CommonP2B3::Family> sum_;
    const std::string banner_;
    Needs needs_;
};

}  // namespace kalvor
