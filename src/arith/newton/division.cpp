#include "arith/newton/division.h"

#include <algorithm>
#include <string>

#include "arith/bigfloat/big_float_transform.h"
#include "arith/bigfloat/number_check.h"
#include "arith/kernels/word_array.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"
#include "arith/multiply/product_needs.h"
#include "arith/newton/error_term.h"
#include "arith/newton/newton_work.h"
#include "arith/newton/steps.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"

namespace trel {

DivisionPlan DivisionPlan::make(u64 p, u64 tds, DivisionTransforms transforms) {
    DivisionPlan plan;
    plan.transforms = transforms;
    plan.p = p;
    plan.q = p / 2 + 1;
    plan.tds = tds;
    plan.reciprocal = ReciprocalPlan::make(plan.q, tds);
    const MultiplySizes sizes = basic_table64().get_algorithm(p + 9).sizes(p + 9);
    plan.x = round_up_8(plan.reciprocal.result);
    plan.y = (plan.q + 9) & ~u64(7);
    plan.correction = (plan.q + 12) & ~u64(7);
    plan.result = p + 2;
    plan.temporaries = std::max(plan.y + plan.correction, plan.reciprocal.temporaries) + plan.x;
    // The reciprocal's transform may be kept; the remainder's product keeps none.
    plan.products = sizes.whole_product(p + 9).maximum(sizes.held_product(p + 9));
    if (transforms == DivisionTransforms::kept) plan.products = plan.products.above(sizes.transform_words());
    plan.products.take_maximum(plan.reciprocal.products);
    if (p < newton::kTransformPrecision) plan.products.take_maximum(product_needs(2 * p + 6));
    return plan;
}

namespace {

const char kRun[] = "Division_BigFloatR::run()";

// The transform of a step and what it keeps of the context's memory.
class StepTransform {
  public:
    StepTransform(const MultiplyContext& context, u64 product_words, bool keep) : context_(context) {
        make_transform(holder_, product_words, context);
        const u64 one = holder_->data_bytes();
        const u64 needed = keep ? 2 * one + holder_->scratch_bytes() : holder_->whole_bytes();
        if (context.scratch.size() < needed)
            throw BufferTooSmallException("TransformHelper::TransformHelper()", context.scratch.size(),
                                          needed);
        if (keep) data_ = context_.scratch.spawn(one).get();
    }
    const Transform& transform() const { return *holder_; }
    void* data() const { return data_; }
    const MultiplyContext& context() const { return context_; }

  private:
    TransformHolder holder_;
    MultiplyContext context_;
    void* data_ = nullptr;
};

}  // namespace

namespace newton {

// y = A x is the quotient to half its words; the remainder A - B y, of which only the words that do not
// cancel are computed, gives the other half as e = x (A - B y).
Crossing division_step(const DivisionPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                       const BigFloat& A, const BigFloat& B, const BigFloat& x, LinearWordBuffer buffer) {
    const ParallelContext& parallel = context.parallel;
    const u64 p = plan.p;
    const u64 q = plan.q;
    BigFloat y = carve<BigFloat>(buffer, plan.y);
    BigFloat r = carve<BigFloat>(buffer, plan.correction);
    const i64 x_top = x.mag();

    const bool keep = plan.transforms == DivisionTransforms::kept;
    const StepTransform memory(context, p + 9, keep);
    BigFloatTransformR held(memory.transform(), memory.data(), HeldWords::stay);
    {
        StatusFrame frame(status, " 0M ", status_digits(q));
        const i64 top = A.mag() + x_top;
        if (keep) {
            held.mul_rr_xf(memory.context(), y, x, q, A, q, top - static_cast<i64>(q), top);
        } else {
            held.mul_rr_xx(memory.context(), y, x, q, A, q, top - static_cast<i64>(q), top);
        }
        status.work().add(division_product_work(p));
    }

    const i64 bottom = A.mag() - static_cast<i64>(p);
    const i64 w = std::min(A.mag(), A.mag() - static_cast<i64>(q) + 3);
    {
        StatusFrame frame(status, " 1M ", status_digits(p));
        BigFloatTransformR product(memory.transform(), nullptr);
        product.mul_rr_xx(memory.context(), r, B, p, y, q, bottom, w);
        status.work().add(division_product_work(p));
    }
    r.set_sign(A.sign);

    // The words at and above w cancel. B has been used: T may stand in its place from here on.
    BigFloat d(T.buffer, T.buffer_size);
    const BigFloat a = words_between(parallel, A, bottom - 2, w);
    const Crossing crossing = subtract_windows(parallel, d, q + 3, a, r, w, kRun);

    StatusFrame frame(status, " 2M ", status_digits(p));
    const i64 lowest = y.mag() - static_cast<i64>(p);
    // Clear of its operands, which serve again where the product is wrong: the remainder's words are free.
    BigFloat e(r.buffer, r.buffer_size);
    if (keep) {
        held.mul_rf_xf(memory.context(), e, d, q + 3, lowest, x_top + d.mag());
    } else {
        held.mul_rr_xx(memory.context(), e, x, q, d, q + 3, lowest, x_top + d.mag());
    }
    T.set_add(p, parallel, y, e);
    return crossing;
}

}  // namespace newton

void Division_BigFloatR::run(const DivisionPlan& plan, const MultiplyContext& context, Status& status,
                             BigFloat& T, const BigFloat& A, const BigFloat& B, LinearWordBuffer buffer) {
    const u64 p = plan.p;
    if (context.parallel.tds != plan.tds)
        throw InvalidParametersException("Division_BigFloatR<wtype>::run()", "Mismatching tds.");
    if (buffer.size() < plan.temporaries)
        throw BufferTooSmallException(kRun, buffer.size(), plan.temporaries);
    if (T.buffer_size < plan.result) throw BufferTooSmallException(kRun, T.buffer_size, plan.result);
    if (is_zero(A, kRun)) return T.clear();
    A.check_normalization();

    if (p < newton::kTransformPrecision) {
        BigFloat x = carve<BigFloat>(buffer, p + 3);
        newton::reciprocal_basic(context, x, B, p, buffer);
        return T.set_mul(p, context, A, x);
    }
    BigFloat x = carve<BigFloat>(buffer, plan.x);
    Reciprocal_BigFloatR::run(plan.reciprocal, context, status, x, B, plan.q, buffer);
    // Without words that the step does not read.
    const BigFloat a = A.kept(context.parallel, p + 4), b = B.kept(context.parallel, p + 4);
    newton::division_step(plan, context, status, T, a, b, x.kept(context.parallel, plan.q + 2), buffer);
}

void large_division(const DivisionPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                    const BigFloat& A, const BigFloat& B) {
    StatusSection section(status, "Large Division...");
    StatusFrame frame(section.node(), "Iterating: ");
    const newton::RunMemory memory(context, plan.temporaries);
    Division_BigFloatR::run(plan, memory.context, frame.node(), T, A, B, memory.temporaries);
}

}  // namespace trel
