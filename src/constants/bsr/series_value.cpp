#include "constants/bsr/series_value.h"

#include <bit>
#include <cmath>
#include <cstdint>

#include "arith/bigfloat/combine.h"
#include "arith/bigfloat/number_check.h"
#include "arith/newton/newton_work.h"
#include "base/errors/exceptions.h"

namespace kalvor::BinarySplitting {

SeriesValuePlan::SeriesValuePlan(u64 precision_words, const Coefficients& coefficients, u64 tds,
                                 DivisionTransforms transforms, const SeriesTexts& texts)
    : precision_(precision_words),
      coefficients_(coefficients),
      texts_(texts),
      division_(DivisionPlan::make(precision_words, tds, transforms)),
      numerator_words_(round_up_8(precision_words + 6)),
      needs_(division_.needs().maximum(Needs{}.above(numerator_words_))) {
    needs_.result_words = std::max(needs_.result_words, numerator_words_);
}

double SeriesValuePlan::work() const {
    return newton::division_work(division_.p, division_.q);
}

namespace {

Word magnitude(i128 c) {
    return static_cast<Word>(c < 0 ? -c : c);
}

// A power of two above exp(nats).
PowerOfTwo above_exp(double nats) {
    return PowerOfTwo{}.shifted(static_cast<i64>(std::floor(nats / dd::ln2().high)) + 1);
}

// A frame that counts the steps of a finishing step.
struct ProgressFrame {
    ProgressFrame(Status& status, const char* text)
        : frame(status, text), progress(frame.node(), Status::IterationMode::percentage, 4) {}
    StatusFrame frame;
    StatusIteration progress;
};

// What a sum of terms of up to `largest` loses of its bits when it comes out as N.
PowerOfTwo cancelled(const PowerOfTwo& largest, const BigFloat& N) {
    const PowerOfTwo ratio = largest * at_least(N).inverse();
    return std::max(ratio, PowerOfTwo{});
}

}  // namespace

// N = coefP P + coefQ Q
PowerOfTwo SeriesValuePlan::numerator(const ParallelContext& parallel, StatusIteration& progress, BigFloat& P,
                                      BigFloat& Q, BigFloat& N, std::optional<double> log_scale) const {
    constexpr const char* function = "SeriesValuePlan::run()";
    const Word cP = magnitude(coefficients_.P), cQ = magnitude(coefficients_.Q);
    PowerOfTwo largest = PowerOfTwo{}.shifted(INT64_MIN / 4);
    if (log_scale) largest = above(Q) * above_exp(*log_scale) * PowerOfTwo{}.shifted(std::bit_width(cP));
    P.mul_uW(parallel, cP);
    if (P.L != 0) largest = std::max(largest, above(P));
    progress.update(1);
    const bool subtract = coefficients_.negative_sum != (coefficients_.P < 0);
    if (cQ == 0) {
        N.set_BigFloat(precision_ + 2, parallel, P);
        if (subtract && N.L != 0) N.set_sign(!N.sign);
        progress.update(2);
        return largest;
    }
    N.set_mul_uW(precision_ + 2, parallel, Q, cQ);
    if (coefficients_.Q < 0) N.set_sign(!N.sign);
    largest = std::max(largest, above(N));
    progress.update(2);
    if (is_zero(P, function)) return largest;
    const i64 top = std::max(N.mag(), P.mag());
    const i64 bottom = top - static_cast<i64>(precision_) - 4;
    if (N.exp < bottom) cut_below(parallel, N, bottom);
    if (N.L == 0) {
        N.set_BigFloat(precision_ + 2, parallel, P);
        if (subtract) N.set_sign(!N.sign);
        return largest;
    }
    // Q may have dropped zero words, so that N ends above words of P that the precision still holds.
    const i64 floor = std::max(P.exp, bottom);
    if (N.exp > floor) extend_down(N, floor, function);
    combine_signed_ip(parallel, N, P, subtract);
    return largest;
}

// N / D with D = coefD Q, or D / N. The divisor moves to x's words, where the quotient takes its place, and a
// dividend N to Q's, so that the division has all of the memory. What is moved, precision + 4 words, is what
// it reads.
ErrorBound SeriesValuePlan::run(const MultiplyContext& context, Status& status, BigFloat& P, BigFloat& Q,
                                BigFloat& x, std::optional<double> log_scale) const {
    status.work().enter("division");
    P.verify(context.parallel, "the sum's numerator");
    Q.verify(context.parallel, "the sum's denominator");
    AlignedBufferC memory = context.scratch;
    BigFloat N = carve<BigFloat>(memory, numerator_words_);
    PowerOfTwo largest;
    {
        StatusSection section(status, "Finishing Series");
        std::optional<ProgressFrame> frame;
        frame.emplace(section.node(), texts_.numerator);
        largest = numerator(context.parallel, frame->progress, P, Q, N, log_scale);
        frame->progress.update(3);
        if (texts_.denominator) frame.emplace(section.node(), texts_.denominator);
        Q.mul_uW(context.parallel, coefficients_.D);
        frame->progress.update(4);
    }
    if (N.L == 0) {
        N.verify(context.parallel, "the numerator");
        if (coefficients_.power < 0) throw ArithmeticException("SeriesValuePlan::run()", "Divide by zero.");
        x.clear();
        const PowerOfTwo limit =
            largest * at_least(Q).inverse() * PowerOfTwo{-static_cast<i64>(precision_), 0};
        return ErrorBound::within(limit.shifted(kValueErrorBits));
    }
    const PowerOfTwo lost = cancelled(largest, N);
    const u64 moved = precision_ + 2;
    if (coefficients_.power < 0) {
        x.set_BigFloat(moved, context.parallel, N);
    } else {
        x.set_BigFloat(moved, context.parallel, Q);
        Q = BigFloat(Q.buffer, Q.buffer_size);
        Q.set_BigFloat(moved, context.parallel, N);
    }
    const BigFloat divisor = x;
    large_division(division_, context, status, x, Q, divisor);
    ErrorBound error = ErrorBound::of_words(x, precision_, kValueErrorBits);
    // Two bits of it are roundings of these bounds.
    if (lost > PowerOfTwo{0, 2}) error.limit = error.limit * lost;
    return error;
}

}  // namespace kalvor::BinarySplitting
