#include "constants/bsr/series_value.h"

#include "arith/bigfloat/combine.h"
#include "arith/newton/newton_work.h"
#include "base/status/status_scope.h"

namespace kalvor::BinarySplitting {

SeriesValuePlan::SeriesValuePlan(u64 precision_words, const Coefficients& coefficients, u64 tds,
                                 DivisionTransforms transforms)
    : precision_(precision_words),
      coefficients_(coefficients),
      division_(DivisionPlan::make(precision_words, tds, transforms)),
      numerator_words_(round_up_8(precision_words + 6)),
      needs_(division_.needs().above(numerator_words_)) {}

double SeriesValuePlan::work() const {
    return newton::division_work(division_.p, division_.q);
}

// N = coefP P + coefQ Q, D = coefD Q.
void SeriesValuePlan::run(const MultiplyContext& context, Status& status, BigFloat& P, BigFloat& Q,
                          BigFloat& x) const {
    status.work().enter("division");
    P.verify(context.parallel, "the sum's numerator");
    Q.verify(context.parallel, "the sum's denominator");
    AlignedBufferC memory = context.scratch;
    BigFloat N = carve<BigFloat>(memory, numerator_words_);
    {
        StatusSection section(status, "Finishing Series");
        StatusFrame frame(section.node(), "Summing: ");
        StatusIteration progress(frame.node(), Status::IterationMode::percentage, 4);
        P.mul_uW(context.parallel, coefficients_.P);
        progress.update(1);
        N.set_mul_uW(precision_ + 2, context.parallel, Q, coefficients_.Q);
        // Q may have dropped zero words, so that N ends above words of P that the precision still holds.
        const i64 floor = std::max(P.exp, N.mag() - static_cast<i64>(precision_) - 4);
        if (N.exp > floor) extend_down(N, floor, "SeriesValuePlan::run()");
        progress.update(2);
        Q.mul_uW(context.parallel, coefficients_.D);
        progress.update(3);
        combine_ip(context.parallel, N, P, coefficients_.negative_sum);
        progress.update(4);
    }
    const MultiplyContext rest = context.with_scratch(memory);
    if (coefficients_.power < 0) {
        large_division(division_, rest, status, x, Q, N);
    } else {
        large_division(division_, rest, status, x, N, Q);
    }
}

}  // namespace kalvor::BinarySplitting
