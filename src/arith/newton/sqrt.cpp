#include "arith/newton/sqrt.h"

#include <algorithm>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/product_needs.h"
#include "arith/newton/recursion.h"
#include "arith/newton/steps.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"

namespace trel {
namespace {

const char kRun[] = "SqrtFloat_BigFloatR::run()";

u64 inverse_words(u64 p) {
    return round_up_8(p + 4);
}

}  // namespace

SqrtFloatPlan SqrtFloatPlan::make(u64 p, u64 tds) {
    return make(p, tds, newton::CoupledRange::of(basic_table64()));
}

SqrtFloatPlan SqrtFloatPlan::make(u64 p, u64 tds, const newton::CoupledRange& coupled) {
    SqrtFloatPlan plan;
    plan.p = p;
    plan.tds = tds;
    plan.invsqrt = InvsqrtFloatPlan::make(p, tds, coupled);
    plan.result = p + 4;
    plan.temporaries = plan.invsqrt.temporaries;
    plan.products = plan.invsqrt.products;
    // A plan serves every run of fewer words, those below the coupled ones too.
    const u64 plain = coupled.contains(p) ? std::min(p, coupled.first - 1) : p;
    const InvsqrtFloatPlan inverse = InvsqrtFloatPlan::make(plain, tds, coupled);
    plan.temporaries = std::max(plan.temporaries, inverse_words(plain) + inverse.temporaries);
    plan.products.take_maximum(product_needs(2 * plain + 4));
    return plan;
}

void SqrtFloat_BigFloatR::run(const SqrtFloatPlan& plan, const MultiplyContext& context, Status& status,
                              BigFloat& T, const BigFloat& A, u64 p, LinearWordBuffer buffer,
                              const SqrtLabels& labels) {
    newton::check_plan(plan.p, plan.tds, p, context.parallel.tds, kRun);
    if (T.buffer_size < p + 4) throw BufferTooSmallException(kRun, T.buffer_size, p + 4);
    // Without words that no level reads.
    const BigFloat a = A.kept(context.parallel, p + 4);
    const newton::CoupledRange& coupled = plan.invsqrt.coupled;
    if (!coupled.contains(p)) {
        BigFloat x = carve<BigFloat>(buffer, inverse_words(p));
        {
            StatusFrame frame(status, labels.inverse_root, status_digits(p));
            InvsqrtFloat_BigFloatR::run(plan.invsqrt, context, frame.node(), x, a, p, buffer);
        }
        StatusFrame frame(status, labels.product, status_digits(p));
        return T.set_mul(p, context, a, x);
    }
    BigFloat x = carve<BigFloat>(buffer, newton::root_estimate_words(p));
    BigFloat s = carve<BigFloat>(buffer, newton::root_estimate_words(p));
    BigFloat d = carve<BigFloat>(buffer, newton::root_error_words(p));
    {
        StatusFrame frame(status, labels.inverse_root, status_digits(p));
        newton::coupled_estimate(coupled, context, frame.node(), x, a, {s, d, p},
                                 newton::larger_of(buffer, T));
    }
    StatusFrame frame(status, labels.product, status_digits(p));
    newton::coupled_root_finish(context, T, x.kept(context.parallel, newton::used_estimate_words(p)), s, d,
                                p);
    // The last residual subtracts A's words without a product that would compare them.
    a.verify(context.parallel, "a root's argument");
}

}  // namespace trel
