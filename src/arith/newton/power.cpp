#include "arith/newton/power.h"

#include <algorithm>
#include <bit>
#include <optional>

#include "arith/bigfloat/big_float_transform.h"
#include "arith/bigfloat/number_check.h"
#include "arith/bigfloat/power_transform.h"
#include "arith/bigfloat/transform_helper.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"
#include "arith/newton/binary_power.h"
#include "arith/newton/steps.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"

namespace trel {
namespace {

const char kRun[] = "Power_BF_uL_BigFloatR::run()";
const char kExponent[] = "Power_BF_uL_BigFloatR()";
// The result holds p + 3 words and one for a carry of the caller's.
constexpr u64 kResultExtra = 4;

// Words from which squares are worth a transform of their own: beyond the products of the basecase.
constexpr u64 kHelperPrecision = 40;

// The words of the base that count for its product with the power, and the transforms for that product and
// for the base's square.
struct BaseSizes {
    BaseSizes(u64 length, u64 p)
        : product(std::min(length, p + 1) + 7 + p), square(2 * std::min(length, p + 1) + 6) {}
    // Whether one transform serves for both, and then for all squares as well.
    bool same_transform(const MultiplyContext& context, u64 p) const {
        if (square < 2 * p + 6) return false;
        if (product == square) return true;
        TransformHolder of_products, of_square;
        make_transform(of_products, product, context);
        make_transform(of_square, square, context);
        return of_products->compatible(*of_square) &&
               of_products->convolution_bits() == of_square->convolution_bits() &&
               of_products->data_bytes() == of_square->data_bytes();
    }
    u64 product, square;
};

// Every step at its own size: squares grow with the power. From the length on that it keeps they are made by
// one transform.
void power_plain(const MultiplyContext& context, Status& status, BigFloat*& now, BigFloat*& next,
                 const BigFloat& A, u64 n, u64 p) {
    std::optional<TransformHelper> helper;
    const auto square = [&](BigFloat& product, const BigFloat& x) {
        if (p < kHelperPrecision || x.L <= p + 1) return product.set_sqr(p + 1, context, x);
        if (!helper) helper.emplace(context, x, p + 1);
        helper->sqr(product, x);
    };
    const auto multiply = [&](BigFloat*& x, BigFloat*& product) {
        product->set_mul(p + 1, context, *x, A);
        std::swap(x, product);
    };
    newton::binary_power(status, n, now, next, kExponent, square, multiply);
}

// The base is as long as the power: its transform is made once, with the first square, and must then serve
// the products.
void power_held(const MultiplyContext& context, Status& status, BigFloat*& now, BigFloat*& next,
                const BigFloat& A, u64 n, u64 p, const BaseSizes& sizes) {
    const newton::HeldTransforms memory(context, sizes.square, 1);
    const MultiplyContext& inner = memory.context();
    TransformHolder of_products;
    make_transform(of_products, sizes.product, inner);
    PowerTransform transform(memory.transform());
    transform.replace(*of_products);
    BigFloatTransformR held(transform.get(), memory.data(0), HeldWords::stay);
    const i64 kept = static_cast<i64>(p + 1);
    const auto square = [&](BigFloat& product, const BigFloat& x) {
        if (held.held()) return product.set_sqr(p + 1, inner, x);
        // x is A still. A's words stay, x's do not.
        held.sqr_rx_xf(inner, product, A, p + 1, 2 * A.mag() - kept, 2 * A.mag());
    };
    const auto multiply = [&](BigFloat*& x, BigFloat*& product) {
        const i64 top = x->mag() + A.mag();
        held.mul_rf_xf(inner, *product, *x, p + 1, top - kept, top);
        std::swap(x, product);
    };
    newton::binary_power(status, n, now, next, kExponent, square, multiply);
}

}  // namespace

PowerFloatPlan PowerFloatPlan::make(u64 p, u64 tds) {
    PowerFloatPlan plan;
    plan.p = p;
    plan.tds = tds;
    plan.result = p + kResultExtra;
    plan.temporaries = p + kResultExtra;
    const MultiplySizes sizes = basic_table64().mSBsizes(2 * p + 8);
    plan.products =
        sizes.held_product(2 * p + 8).maximum(sizes.whole_product(2 * p + 8)).above(sizes.transform_words());
    return plan;
}

namespace newton {

void power(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& base, u64 n, u64 p,
           LinearWordBuffer buffer) {
    if (T.buffer_size < p + kResultExtra)
        throw BufferTooSmallException(kRun, T.buffer_size, p + kResultExtra);
    if (n == 0) return;
    if (is_zero(base, kRun)) return T.clear();
    const BigFloat A = base.kept(context.parallel, p + 3);
    if (n == 1) return T.set_BigFloat(p + 1, context.parallel, A);

    BigFloat other = carve<BigFloat>(buffer, p + kResultExtra);
    // Each square and each product moves the power to the other buffer; the last is in T.
    const bool even = (std::bit_width(n) - 1 + std::popcount(n) - 1) % 2 == 0;
    BigFloat* now = even ? &T : &other;
    BigFloat* next = even ? &other : &T;
    now->set_BigFloat(p + 1, context.parallel, A);

    const BaseSizes sizes(A.L, p);
    if (std::popcount(n) > 1 && sizes.same_transform(context, p))
        power_held(context, status, now, next, A, n, p, sizes);
    else
        power_plain(context, status, now, next, A, n, p);
}

}  // namespace newton

void Power_BF_uL_BigFloatR::run(const PowerFloatPlan& plan, const MultiplyContext& context, Status& status,
                                BigFloat& T, const BigFloat& A, u64 n, u64 p, LinearWordBuffer buffer) {
    if (p > plan.p) throw LimitExceededException(kRun, "Precision", plan.p, p);
    if (context.parallel.tds > plan.tds)
        throw LimitExceededException(kRun, "Task Decomposition", plan.tds, context.parallel.tds);
    newton::power(context, status, T, A, n, p, buffer);
}

SignedPowerPlan SignedPowerPlan::make(u64 p, u64 tds) {
    SignedPowerPlan plan;
    plan.p = p;
    plan.tds = tds;
    plan.power = PowerFloatPlan::make(p, tds);
    plan.reciprocal = ReciprocalPlan::make(p, tds);
    plan.result = std::max(plan.power.result, plan.reciprocal.result);
    plan.temporaries =
        round_up_8(plan.power.result) + std::max(plan.power.temporaries, plan.reciprocal.temporaries);
    plan.products = plan.power.products.maximum(plan.reciprocal.products);
    return plan;
}

void large_power(const SignedPowerPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                 const BigFloat& A, i64 n) {
    if (n == 0) return T.set_double(1.0, 0);
    const u64 magnitude = n < 0 ? 0 - static_cast<u64>(n) : static_cast<u64>(n);
    const newton::RunMemory memory(context, plan.temporaries);
    LinearWordBuffer buffer = memory.temporaries;
    BigFloat denominator = carve<BigFloat>(buffer, round_up_8(plan.power.result));
    {
        StatusSection section(status, magnitude == 2 ? "Squaring..." : "Powering...");
        Power_BF_uL_BigFloatR::run(plan.power, memory.context, section.node(), n < 0 ? denominator : T, A,
                                   magnitude, plan.power.p, buffer);
    }
    if (n > 0) return;
    StatusSection section(status, "Inverting...");
    StatusFrame frame(section.node(), "Iterating: ");
    Reciprocal_BigFloatR::run(plan.reciprocal, memory.context, frame.node(), T, denominator,
                              plan.reciprocal.p, buffer);
}

}  // namespace trel
