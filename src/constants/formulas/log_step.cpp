#include "constants/formulas/log_step.h"

#include <cmath>

#include "arith/newton/newton_work.h"

namespace kalvor::Formulas {

LogStep::LogStep(const StepRequest& request)
    : Step(request.precision), plan_(LogAgmPlan::make(request.precision, request.tds)) {
    needs_ = plan_.needs();
    needs_.result_words = plan_.result;
}

// Pi and ln 2 are multiplied by numbers of the size of the precision in bits, and the results cancel.
u64 LogStep::extra_bits() const {
    return 64 * (plan_.mean.p - precision());
}

std::vector<WorkPhase> LogStep::work() const {
    // Half of the steps make the numbers alike, the others double the words that agree.
    const double p = static_cast<double>(plan_.mean.p);
    const double steps = 2 * std::log2(64 * p + 64);
    return {{"mean", steps * newton::mean_step_work(plan_.mean.p) * kWorkSeconds, 0}};
}

ErrorBound LogStep::finish(const MultiplyContext& context, Status& status, std::span<const Operand> x,
                           BigFloat& result) const {
    status.work().enter("mean");
    const BigFloat& value = *x[0].value;
    Log_AGM_BigFloatR::run(plan_, context, status, result, value, *x[1].value, *x[2].value);
    if (result.L == 0 && x[0].error.exact) return ErrorBound::none();
    // Pi / (2 AGM) and m ln 2 are each a multiple of their constant, with a factor below (m + 64 p) 2: their
    // roundings are less than those of the constants' last words.
    const i64 d = value.mag() < 0 ? -value.mag() : value.mag();
    const u64 p = plan_.mean.p;
    const ErrorBound rounding = ErrorBound::within(PowerOfTwo{2 - static_cast<i64>(p), newton::kErrorBits});
    const ErrorBound constants = (x[1].error + x[2].error + rounding).times_word(4 * p + 16);
    return logarithm_error(x[0]) + constants.shifted(8).times_word(static_cast<Word>(d) + 1);
}

}  // namespace kalvor::Formulas
