#include "arith/newton/invsqrt.h"

#include <algorithm>
#include <cmath>

#include "arith/bigfloat/big_float_transform.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/product_needs.h"
#include "arith/newton/coupled_root.h"
#include "arith/newton/error_term.h"
#include "arith/newton/steps.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"

namespace trel {
namespace {

const char kBasicRun[] = "InvsqrtFloat_BigFloatR_E::run()";
const char kRun[] = "InvsqrtFloat_BigFloatR::run()";

const newton::Iteration kIteration = {
    kBasicRun, kRun, 4, newton::previous_precision, newton::previous_precision, newton::root_estimate_words};

u64 basic_words(u64 p) {
    return p == 0 ? 0 : 2 * (newton::previous_precision(p) + 2) + p + 2;
}

// What a run of p words cuts from the word buffer. Around the coupled levels a level's temporaries take the
// place of those below it; a coupled level needs its own from the start and lends the result's words to the
// levels below.
u64 words_cut(u64 p, const newton::CoupledRange& coupled) {
    if (p < newton::kTransformPrecision) return basic_words(p);
    const u64 below = words_cut(newton::previous_precision(p), coupled);
    if (coupled.contains(p))
        return 2 * newton::root_estimate_words(p) + newton::root_error_words(p) + (below > p + 4 ? below : 0);
    return newton::root_estimate_words(p) +
           std::max(newton::correction_words(p) + newton::root_error_words(p), below);
}

// The needs of a level that is not coupled: x's transform is held while A x^2 is made.
Needs plain_needs(u64 p) {
    const MultiplySizes held = basic_table64().mSBsizes(p + 8);
    return held.held_product(p + 8)
        .maximum(newton::window_product_needs(newton::window_product_words(p)))
        .above(held.transform_words());
}

// A plan serves every run of fewer words. Of the levels below the coupled ones the highest there can be needs
// the most: more than the coupled levels somewhat above it.
Needs window_needs(u64 p, const newton::CoupledRange& coupled) {
    if (coupled.contains(p)) {
        const u64 previous = newton::previous_precision(p);
        const u64 plain = coupled.first - 1;
        const u64 start = std::min(previous, plain);  // coupled_root_start()'s highest precision
        const Needs below =
            coupled.contains(previous)
                ? newton::HeldTransforms::needs(previous + 8, 2).maximum(window_needs(previous, coupled))
                : plain_needs(plain);
        return newton::HeldTransforms::needs(p + 8, 1).maximum(below).maximum(product_needs(2 * start + 6));
    }
    const Needs needs = plain_needs(p);
    if (p < coupled.first || coupled.last < coupled.first) return needs;
    return needs.maximum(window_needs(coupled.last, coupled));
}

}  // namespace

InvsqrtFloatPlan InvsqrtFloatPlan::make(u64 p, u64 tds) {
    return make(p, tds, newton::CoupledRange::of(basic_table64()));
}

InvsqrtFloatPlan InvsqrtFloatPlan::make(u64 p, u64 tds, const newton::CoupledRange& coupled) {
    InvsqrtFloatPlan plan;
    plan.coupled = coupled;
    plan.p = p;
    plan.tds = tds;
    plan.basic_p = std::min(p, newton::kTransformPrecision);
    plan.result = p + 4;
    // The temporaries of a plain level above the coupled ones, and of the highest of those.
    const u64 highest = std::min(p, std::max(coupled.first, coupled.last));
    plan.temporaries =
        round_up_8(std::max({words_cut(p, coupled), words_cut(highest, coupled), basic_words(plan.basic_p)}));
    plan.products = product_needs(2 * plan.basic_p + 4);
    if (p >= newton::kTransformPrecision) plan.products.take_maximum(window_needs(p, coupled));
    return plan;
}

namespace {

// d^(-1/2) 2^(-32 e); an odd exponent lends 2^32 to the double.
void set_start(BigFloat& T, const BigFloat& A) {
    if (A.L == 0) throw ArithmeticException(kBasicRun, "Divide by zero.");
    if (!A.sign) throw ArithmeticException(kBasicRun, "Square root of negative number.");
    A.check_normalization();
    const ScaledDouble top = top_as_double(A);
    const i64 odd = top.e & 1;
    T.set_double(1.0 / std::sqrt(top.d) * (odd != 0 ? 0x1p32 : 1.0), (-top.e - odd) / 2);
}

void run_basic(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p,
               LinearWordBuffer buffer) {
    newton::basic_levels(
        kIteration, T, p, [&](BigFloat& start) { set_start(start, A); },
        [&](BigFloat& x, u64 level) { newton::invsqrt_basic_step(context, x, A, level, buffer); });
}

void run_windowed(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& A, u64 p,
                  LinearWordBuffer buffer) {
    newton::window_levels(
        kIteration, T, p, buffer,
        [&](BigFloat& t, u64 level, LinearWordBuffer rest) { run_basic(context, t, A, level, rest); },
        [&](BigFloat& t, const BigFloat& x, u64 level, LinearWordBuffer rest) {
            newton::invsqrt_step(context, status, t, A,
                                 x.kept(context.parallel, newton::used_estimate_words(level)), level, rest);
        },
        newton::rest_of);
}

void run_levels(const newton::CoupledRange& coupled, const MultiplyContext& context, Status& status,
                BigFloat& T, const BigFloat& A, u64 p, LinearWordBuffer buffer,
                const newton::CoupledRoot* above = nullptr) {
    if (p < coupled.first || coupled.last < coupled.first)
        return run_windowed(context, status, T, A, p, buffer);
    if (T.buffer_size < p + kIteration.extra)
        throw BufferTooSmallException(kRun, T.buffer_size, p + kIteration.extra);
    BigFloat x = carve<BigFloat>(buffer, newton::root_estimate_words(p));
    if (!coupled.contains(p)) {
        run_levels(coupled, context, status, x, A, newton::previous_precision(p), buffer);
        return newton::invsqrt_step(context, status, T, A,
                                    x.kept(context.parallel, newton::used_estimate_words(p)), p, buffer);
    }
    BigFloat s = carve<BigFloat>(buffer, newton::root_estimate_words(p));
    BigFloat d = carve<BigFloat>(buffer, newton::root_error_words(p));

    newton::coupled_estimate(coupled, context, status, x, A, {s, d, p}, newton::larger_of(buffer, T));
    newton::coupled_root_step(context, status, T, A, x.kept(context.parallel, newton::used_estimate_words(p)),
                              s, d, p, above, kRun);
}

}  // namespace

namespace newton {

void coupled_estimate(const CoupledRange& coupled, const MultiplyContext& context, Status& status,
                      BigFloat& x, const BigFloat& A, const CoupledRoot& root, LinearWordBuffer buffer) {
    const u64 previous = previous_precision(root.next);
    if (coupled.contains(previous)) {
        run_levels(coupled, context, status, x, A, previous, buffer, &root);
    } else {
        run_windowed(context, status, x, A, previous, buffer);
        coupled_root_start(context, root, A, x, previous, kRun);
    }
}

void invsqrt_basic_step(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p,
                        LinearWordBuffer buffer) {
    const ParallelContext& parallel = context.parallel;
    const u64 previous = previous_precision(p);
    BigFloat x = carve<BigFloat>(buffer, previous + 2);
    BigFloat y = carve<BigFloat>(buffer, previous + 2);
    BigFloat square = carve<BigFloat>(buffer, p + 2);

    x.set_BigFloat(previous, parallel, T);
    square.set_sqr(p, context, x);
    T.set_mul(p, context, A.kept_if_cheap(parallel, p + 2), square);
    const Estimate side = take_error_at_units(parallel, T, previous, kBasicRun);
    halve(parallel, T);
    correct_basic(context, T, x, side, y, p);
}

// x is transformed once, for its square and for the correction. A x^2 has 2p words, and of its window
// [-p, -p/2) neither end may be folded upon: a convolution of 3p/2 words.
void invsqrt_step(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& A,
                  const BigFloat& x, u64 p, LinearWordBuffer buffer) {
    const ParallelContext& parallel = context.parallel;
    const u64 previous = previous_precision(p);
    const i64 t = std::min<i64>(error_bound(previous), 0);
    BigFloat y = carve<BigFloat>(buffer, correction_words(p));
    BigFloat e = carve<BigFloat>(buffer, root_error_words(p));

    const HeldTransforms memory(context, p + 8, 1);
    BigFloatTransformR held(memory.transform(), memory.data(0), HeldWords::stay);
    BigFloat& square = T;
    {
        StatusFrame frame(status, " 0S ", status_digits(p));
        const i64 top = 2 * x.mag();
        held.sqr_rx_xf(memory.context(), square, x, previous, top - static_cast<i64>(p), top);
    }
    {
        StatusFrame frame(status, " 1M ", status_digits(p));
        window_product(memory.context(), window_product_words(p), e, A, p, square, p, -static_cast<i64>(p),
                       t);
    }
    const Estimate side = take_error_below(parallel, e, t, previous, kRun);
    if (side == Estimate::exact) return T.set_BigFloat(p, parallel, x);
    halve(parallel, e);

    correct(memory.context(), status, T, x, e, side, held, y, p, {" U2M ", " O2M "});
}

}  // namespace newton

void InvsqrtFloat_BigFloatR_E::run(const InvsqrtFloatPlan& plan, const MultiplyContext& context, BigFloat& T,
                                   const BigFloat& A, u64 p, LinearWordBuffer buffer) {
    newton::check_plan(plan.basic_p, plan.tds, p, context.parallel.tds, kBasicRun);
    run_basic(context, T, A.kept(context.parallel, p + 4), p, buffer);
}

void InvsqrtFloat_BigFloatR::run(const InvsqrtFloatPlan& plan, const MultiplyContext& context, Status& status,
                                 BigFloat& T, const BigFloat& A, u64 p, LinearWordBuffer buffer) {
    newton::check_plan(plan.p, plan.tds, p, context.parallel.tds, kRun);
    // Without words that no level reads.
    const BigFloat a = A.kept(context.parallel, p + 4);
    run_levels(plan.coupled, context, status, T, a, p, buffer);
    // The last coupled level subtracts A's words without a product that would compare them.
    a.verify(context.parallel, "a root's argument");
}

void large_invsqrt(const InvsqrtFloatPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                   const BigFloat& A) {
    StatusSection section(status, "Large Invsqrt...");
    StatusFrame frame(section.node(), "Iterating: ");
    const newton::RunMemory memory(context, plan.temporaries);
    InvsqrtFloat_BigFloatR::run(plan, memory.context, frame.node(), T, A, plan.p, memory.temporaries);
}

}  // namespace trel
