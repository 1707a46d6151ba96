// The value of a series,
//
//   x = ((CoefficientP S + CoefficientQ) / CoefficientD) ^ power,
//
// from the fraction S = P / Q that binary splitting yields: one division at the end, for every family.
#pragma once

#include <algorithm>
#include <vector>

#include "arith/newton/division.h"
#include "base/status/work_meter.h"
#include "constants/bsr/psr_series.h"

namespace kalvor::BinarySplitting {

// CoefficientP, CoefficientD >= 1; CoefficientQ of the size of the sum or larger, so that nothing cancels.
struct Coefficients {
    Word P, Q, D;
    int power;          // 1 or -1
    bool negative_sum;  // the first term is negative: S = -P/Q
};

// The finishing step alone.
class SeriesValuePlan {
  public:
    SeriesValuePlan(u64 precision_words, const Coefficients& coefficients, u64 tds,
                    trel::DivisionTransforms transforms = trel::DivisionTransforms::kept);

    const Needs& needs() const { return needs_; }
    double work() const;
    // x to the plan's precision. P and Q are used up; P may stand in x's buffer. context.scratch holds
    // needs().
    void run(const MultiplyContext& context, Status& status, BigFloat& P, BigFloat& Q, BigFloat& x) const;

  private:
    u64 precision_;
    Coefficients coefficients_;
    trel::DivisionPlan division_;
    u64 numerator_words_;
    Needs needs_;
};

// Sum and finishing step. Working memory:
//
//   [the sum's accumulator: Q][the rest of the sum, then that of the finishing step]
//
// The sum's P waits in x's buffer until the division needs it.
template <SeriesFamily F>
class SummedSeriesPlan {
  public:
    // The series outlives the plan. P and Q of the sum are its numbers 0 and 1. floor_bytes: what the caller
    // takes in any case.
    SummedSeriesPlan(const typename F::Series& series, const Coefficients& coefficients,
                     u64 block_limit_words, u64 tds, u64 floor_bytes = 0,
                     trel::DivisionTransforms transforms = trel::DivisionTransforms::kept)
        : value_(series.precision(), coefficients, tds, transforms),
          // Q is no longer than the numerator.
          sum_(series, block_limit_words, tds,
               std::max(floor_bytes, value_.needs().above(trel::round_up_8(series.precision() + 6)).bytes)) {
        needs_ = {std::max(value_.needs().result_words, sum_.lent_words()), sum_.working_bytes(),
                  sum_.max_product_words()};
        needs_.take_maximum(value_.needs().above(sum_.result_bytes() / sizeof(Word)));
    }

    const Needs& needs() const { return needs_; }
    const PSR_SeriesB<F>& sum() const { return sum_; }
    // The phases "series" and "division".
    std::vector<trel::WorkPhase> work() const {
        const double sum = sum_.work(), division = value_.work();
        return {{"series", sum * trel::kWorkSeconds, sum},
                {"division", division * trel::kWorkSeconds, division}};
    }

    // x, to the series' precision. x's buffer and context.scratch hold needs().
    void run(const MultiplyContext& context, Status& status, BigFloat& x) const {
        FloatRange<F> sum;
        {
            status.work().enter("series");
            trel::StatusSection section(status, sum_.banner());
            sum = sum_.run(context, section.node(), x.buffer);
        }
        AlignedBufferC memory = context.scratch;
        memory.spawn(sum_.result_bytes());
        value_.run(context.with_scratch(memory), status, sum[0], sum[1], x);
    }

  private:
    SeriesValuePlan value_;
    PSR_SeriesB<F> sum_;
    Needs needs_;
};

}  // namespace kalvor::BinarySplitting
