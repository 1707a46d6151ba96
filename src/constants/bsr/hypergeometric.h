// The value of a hypergeometric series,
//
//   x = ((CoefficientP S + CoefficientQ) / CoefficientD) ^ power,
//
// from its binary splitting: one division at the end.
#pragma once

#include <algorithm>

#include "arith/newton/division.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/bsr/psr_series.h"

namespace kalvor::BinarySplitting::CommonP2B3 {

// CoefficientP, CoefficientD >= 1; CoefficientQ of the size of the sum or larger, so that nothing cancels.
struct Coefficients {
    Word P, Q, D;
    int power;          // 1 or -1
    bool negative_sum;  // the first term is negative: S = -P/Q
};

class HypergeometricPlan {
  public:
    // The series outlives the plan. floor_bytes: what the caller takes in any case.
    HypergeometricPlan(const Series& series, const Coefficients& coefficients, u64 block_limit_words, u64 tds,
                       u64 floor_bytes = 0);

    u64 result_words() const { return std::max(division_.result, sum_.lent_words()); }
    u64 working_bytes() const { return working_bytes_; }
    u64 max_product_words() const { return product_words_; }
    const PSR_SeriesB<Family>& series() const { return sum_; }
    // Phases "series" and "division".
    std::vector<trel::WorkPhase> work() const;

    // x, to the series' precision. x's buffer holds result_words(), context.scratch working_bytes(). The
    // sum's P waits in x's buffer until the division needs it.
    void run(const MultiplyContext& context, Status& status, BigFloat& x) const;

  private:
    void finish(const MultiplyContext& context, Status& status, BigFloat& P, BigFloat& Q, BigFloat& x) const;
    // Of what stands behind the sum's Q: the numerator and the division.
    u64 finishing_bytes() const;

    u64 precision_;
    Coefficients coefficients_;
    trel::DivisionPlan division_;
    u64 numerator_words_;
    PSR_SeriesB<Family> sum_;
    u64 working_bytes_;
    u64 product_words_;
};

}  // namespace kalvor::BinarySplitting::CommonP2B3
