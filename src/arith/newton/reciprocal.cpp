#include "arith/newton/reciprocal.h"

#include <algorithm>

#include "arith/bigfloat/big_float_transform.h"
#include "arith/multiply/dispatch.h"
#include "arith/newton/error_term.h"
#include "arith/newton/newton_work.h"
#include "arith/newton/steps.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"

namespace trel {

ReciprocalPlan ReciprocalPlan::make(u64 p, u64 tds) {
    ReciprocalPlan plan;
    plan.p = p;
    plan.tds = tds;
    plan.basic_p = std::min(p, newton::kTransformPrecision);
    plan.basic_tds = tds;
    plan.basic_result = plan.basic_p + 3;
    plan.basic_temporaries = (plan.basic_p + 13) & ~u64(7);
    plan.basic_scratch_bytes = round_up_64(multiply_scratch_bytes(plan.basic_p + 8));
    plan.result = std::max(p + 19, plan.basic_result);
    plan.temporaries =
        std::max(newton::estimate_words(p) + newton::correction_words(p), plan.basic_temporaries);
    plan.scratch_bytes = std::max(plan.basic_scratch_bytes, round_up_64(multiply_scratch_bytes(p + 8)));
    if (p >= newton::kTransformPrecision)
        plan.scratch_bytes = std::max(plan.scratch_bytes, newton::HeldTransforms::scratch_bytes(p + 8, 1));
    return plan;
}

namespace {

const char kBasicRun[] = "Reciprocal_BigFloatR_E::run()";
const char kRun[] = "Reciprocal_BigFloatR::run()";

BigFloat magnitude_of(const BigFloat& A) {
    BigFloat a = A;
    a.sign = true;
    return a;
}

const newton::Iteration kIteration = {
    kBasicRun, kRun, 3, newton::previous_precision, newton::previous_precision, newton::estimate_words};

// A is positive or zero here and below.
void run_basic(const MultiplyContext& mp, BigFloat& T, const BigFloat& A, u64 p, LinearWordBuffer buffer) {
    newton::basic_levels(
        kIteration, T, p,
        [&](BigFloat& start) {
            if (A.L == 0) throw ArithmeticException(kBasicRun, "Divide by zero.");
            A.check_normalization();
            const ScaledDouble top = top_as_double(A);
            start.set_double(1.0 / top.d, -top.e);
        },
        [&](BigFloat& x, u64 level) { newton::reciprocal_basic_step(mp, x, A, level, buffer); });
}

void run_levels(const MultiplyContext& mp, Status& status, BigFloat& T, const BigFloat& A, u64 p,
                LinearWordBuffer buffer) {
    newton::window_levels(
        kIteration, T, p, buffer,
        [&](BigFloat& t, u64 level, LinearWordBuffer rest) { run_basic(mp, t, A, level, rest); },
        [&](BigFloat& t, const BigFloat& x, u64 level, LinearWordBuffer rest) {
            newton::reciprocal_step(mp, status, t, A, x.top(newton::used_estimate_words(level)), level, rest);
            status.work().add(newton::step_work(level));
        },
        newton::larger_of);
}

}  // namespace

namespace newton {

void reciprocal_basic(const MultiplyContext& mp, BigFloat& T, const BigFloat& A, u64 p,
                      LinearWordBuffer buffer) {
    run_basic(mp, T, magnitude_of(A), p, buffer);
    T.sign = A.sign;
}

void reciprocal_basic_step(const MultiplyContext& mp, BigFloat& T, const BigFloat& A, u64 p,
                           LinearWordBuffer buffer) {
    const ParallelContext& P = mp.parallel;
    const u64 previous = previous_precision(p);
    const LinearWordBuffer x_words = buffer.cut_from_bottom(previous + 2);
    const LinearWordBuffer y_words = buffer.cut_from_bottom(previous + 2);
    BigFloat x(x_words.get(), x_words.size());
    BigFloat y(y_words.get(), y_words.size());

    x.set_BigFloat(previous, P, T);
    T.set_mul(p, mp, A, x);
    const Estimate side = take_error_at_units(P, T, previous, kBasicRun);
    correct_basic(mp, T, x, side, y, p);
}

// The window [-p, t) of A x is all that is computed: with x of p/2 words and A of p words a convolution of
// about p words has it clean, two thirds of the whole product's length. x's transform serves again for the
// correction.
void reciprocal_step(const MultiplyContext& mp, Status& status, BigFloat& T, const BigFloat& A,
                     const BigFloat& x, u64 p, LinearWordBuffer buffer) {
    const ParallelContext& P = mp.parallel;
    const u64 previous = previous_precision(p);
    const i64 t = std::min<i64>(error_bound(previous), 0);
    const LinearWordBuffer y_words = buffer.cut_from_bottom(correction_words(p));
    BigFloat y(y_words.get(), y_words.size());

    const HeldTransforms memory(mp, p + 8, 1);
    BigFloatTransformR held(memory.transform(), memory.data(0));
    {
        StatusFrame frame(status, " 0M ", status_digits(p));
        held.mul_rr_xf(memory.context(), T, x, previous, A, p, -static_cast<i64>(p), t);
    }
    T.sign = true;
    const Estimate side = take_error_below(P, T, t, previous, kRun);
    if (side == Estimate::exact) return T.set_BigFloat(p, P, x);

    correct(memory.context(), status, T, x, T, side, held, y, p);
}

}  // namespace newton

void Reciprocal_BigFloatR_E::run(const ReciprocalPlan& plan, const MultiplyContext& mp, BigFloat& T,
                                 const BigFloat& A, u64 p, LinearWordBuffer buffer) {
    newton::check_plan(plan.basic_p, plan.basic_tds, p, mp.parallel.tds, kBasicRun);
    newton::reciprocal_basic(mp, T, A, p, buffer);
}

void Reciprocal_BigFloatR::run(const ReciprocalPlan& plan, const MultiplyContext& mp, Status& status,
                               BigFloat& T, const BigFloat& A, u64 p, LinearWordBuffer buffer) {
    newton::check_plan(plan.p, plan.tds, p, mp.parallel.tds, kRun);
    run_levels(mp, status, T, magnitude_of(A), p, buffer);
    T.sign = A.sign;
}

}  // namespace trel
