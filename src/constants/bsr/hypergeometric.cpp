#include "constants/bsr/hypergeometric.h"

#include <algorithm>

#include "arith/kernels/linear_word_buffer.h"
#include "arith/newton/newton_work.h"
#include "constants/bsr/combine.h"

namespace kalvor::BinarySplitting::CommonP2B3 {

HypergeometricPlan::HypergeometricPlan(const Series& series, const Coefficients& coefficients,
                                       u64 block_limit_words, u64 tds, u64 floor_bytes)
    : precision_(series.precision()),
      coefficients_(coefficients),
      division_(trel::DivisionPlan::make(series.precision(), tds)),
      numerator_words_(trel::round_up_8(precision_ + 6)),
      // Q is no longer than the numerator.
      sum_(series, block_limit_words, tds,
           std::max(floor_bytes, numerator_words_ * sizeof(Word) + finishing_bytes())) {
    working_bytes_ = std::max(sum_.working_bytes(), sum_.result_bytes() + finishing_bytes());
    product_words_ = std::max(sum_.max_product_words(), precision_ + 9);
}

u64 HypergeometricPlan::finishing_bytes() const {
    return (numerator_words_ + trel::round_up_8(division_.temporaries)) * sizeof(Word) +
           trel::round_up_64(division_.scratch_bytes);
}

std::vector<trel::WorkPhase> HypergeometricPlan::work() const {
    const double sum = sum_.work(), division = trel::newton::division_work(division_.p, division_.q);
    return {{"series", sum * trel::kWorkSeconds, sum}, {"division", division * trel::kWorkSeconds, division}};
}

void HypergeometricPlan::run(const MultiplyContext& context, Status& status, BigFloat& x) const {
    std::array<BigFloat, Family::kNumbers> sum;
    {
        status.work().enter("series");
        trel::StatusSection section(status, sum_.banner());
        sum = sum_.run(context, section.node(), x.buffer);
    }
    AlignedBufferC memory = context.scratch;
    memory.spawn(sum_.result_bytes());
    finish(context.with_scratch(memory), status, sum[kP], sum[kQ], x);
}

// N = coefP S + coefQ times Q, D = coefD Q.
void HypergeometricPlan::finish(const MultiplyContext& context, Status& status, BigFloat& P, BigFloat& Q,
                                BigFloat& x) const {
    status.work().enter("division");
    AlignedBufferC memory = context.scratch;
    BigFloat N(memory.spawn_words(numerator_words_).word_pointer(), numerator_words_);
    {
        trel::StatusSection section(status, "Finishing Series");
        StatusFrame frame(section.node(), "Summing: ");
        trel::StatusIteration progress(frame.node(), Status::IterationMode::percentage, 4);
        P.mul_uW(context.parallel, coefficients_.P);
        progress.update(1);
        N.set_mul_uW(precision_ + 2, context.parallel, Q, coefficients_.Q);
        // Q may have dropped zero words, so that N ends above words of P that the precision still holds.
        const i64 floor = std::max(P.exp, N.mag() - static_cast<i64>(precision_) - 4);
        if (N.exp > floor) extend_down(N, floor, "HypergeometricPlan::finish()");
        progress.update(2);
        Q.mul_uW(context.parallel, coefficients_.D);
        progress.update(3);
        combine_ip(context.parallel, N, P, coefficients_.negative_sum);
        progress.update(4);
    }
    const u64 n = division_.temporaries;
    trel::LinearWordBuffer temporaries(memory.spawn_words(trel::round_up_8(n)).word_pointer(), n);
    const MultiplyContext rest = context.with_scratch(memory);
    if (coefficients_.power < 0) {
        trel::large_division(division_, rest, status, x, Q, N, temporaries);
    } else {
        trel::large_division(division_, rest, status, x, N, Q, temporaries);
    }
}

}  // namespace kalvor::BinarySplitting::CommonP2B3
