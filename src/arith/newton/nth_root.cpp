#include "arith/newton/nth_root.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <string>

#include "arith/bigfloat/big_float_transform.h"
#include "arith/estimate/double_double.h"
#include "arith/newton/error_term.h"
#include "arith/newton/power.h"
#include "arith/newton/steps.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"

namespace trel {
namespace {

const char kBasicRun[] = "InvNthRootFloat_BigFloatR_E::run()";
const char kRunExpanded[] = "InvNthRootFloat_BigFloatR_P::run_expanded()";
const char kRunFactored[] = "InvNthRootFloat_BigFloatR_P::run_factored()";

// Words of T beyond p: the powers of the basic form run at p + 2 words.
constexpr u64 kResultExtra = 6;

newton::Iteration iteration(const char* name) {
    return {kBasicRun,
            name,
            kResultExtra,
            newton::nth_root_basic_previous,
            newton::nth_root_previous,
            newton::nth_root_estimate_words};
}

u64 basic_words(u64 p) {
    return p == 0 ? 0 : newton::nth_root_basic_estimate_words(p) + newton::nth_root_power_words(p);
}

// What a run of p words cuts from the word buffer; a level's temporaries take the place of those below it.
u64 words_cut(u64 p) {
    if (p < newton::kTransformPrecision) return basic_words(p);
    return newton::nth_root_estimate_words(p) +
           std::max(newton::nth_root_power_words(p), words_cut(newton::nth_root_previous(p)));
}

}  // namespace

InvNthRootPlan InvNthRootPlan::make(u64 p, u64 tds) {
    InvNthRootPlan plan;
    plan.p = p;
    plan.tds = tds;
    plan.basic_p = std::min(p, newton::kTransformPrecision);
    plan.result = p + kResultExtra;
    plan.temporaries = round_up_8(std::max(words_cut(p), basic_words(plan.basic_p)));
    // The powers: at p + 2 words in the basic form, at p words above.
    plan.products = PowerFloatPlan::make(std::max(p, plan.basic_p + 2), tds).products;
    if (p >= newton::kTransformPrecision)
        plan.products.take_maximum(newton::window_product_needs(newton::window_product_words(p)));
    return plan;
}

namespace {

// exp(y) - 1, |y| < 2^-16, to the last bits of the pair.
DoubleDouble small_expm1(const DoubleDouble& y) {
    DoubleDouble sum(1.0);
    for (double k : {7.0, 6.0, 5.0, 4.0, 3.0, 2.0})
        sum = DoubleDouble(1.0) + y * sum * reciprocal(DoubleDouble(k));
    return y * sum;
}

// T = exp(y) 2^(64 e), y not large: 1 and exp(y) - 1 near 1, else a pair with whole words split off.
void set_exp(const ParallelContext& parallel, BigFloat& T, const DoubleDouble& y, i64 e) {
    Word one_word[1], high_words[2], low_words[2], sum_words[6];
    BigFloat high(high_words, 2), low(low_words, 2), sum(sum_words, 6);
    const auto set_pair = [&](BigFloat& target, const DoubleDouble& value, i64 exponent) {
        high.set_double(value.high, exponent);
        low.set_double(value.low, exponent);
        target.set_add(3, parallel, high, low);
    };
    if (std::fabs(y.high) < 0x1p-16) {
        BigFloat one(one_word, 1);
        one.set_double(1.0, e);
        set_pair(sum, small_expm1(y), e);
        T.set_add(3, parallel, one, sum);
    } else {
        const double words = std::floor(y.high / dd::ln2_64().high);
        set_pair(T, exp(y - dd::ln2_64() * DoubleDouble(words)), e + static_cast<i64>(words));
    }
}

DoubleDouble from_i64(i64 n) {
    return n < 0 ? -DoubleDouble::from_u64(0 - static_cast<u64>(n))
                 : DoubleDouble::from_u64(static_cast<u64>(n));
}

// A^(-1/n) from the logarithm of A's top. Beyond the range of a double the exponent is divided by n apart.
// The logarithm is a pair of doubles: an error a of the start becomes (n + 1) a^2 / 2 in the first level, so
// that n a must be small even for the largest n. A's top alone, 53 bits, is enough for that: the root divides
// its error by n.
void set_start(const ParallelContext& parallel, BigFloat& T, const BigFloat& A, u64 n) {
    if (A.L == 0) throw ArithmeticException(kBasicRun, "Divide by zero.");
    if (!A.sign) throw ArithmeticException(kBasicRun, "Nth root of negative number.");
    A.check_normalization();
    const ScaledDouble top = top_as_double(A);
    const DoubleDouble part = reciprocal(DoubleDouble::from_u64(n));
    const auto root = [&](i64 words) {
        return -((ln(DoubleDouble(top.d)) - dd::ln2_64() * from_i64(words)) * part);
    };
    const DoubleDouble y = root(-top.e);
    if (std::fabs(y.high) < 709.0895657128241) return set_exp(parallel, T, y, 0);  // 1023 ln 2
    const i64 divisor = static_cast<i64>(n);  // far below 2^63, because |e| is 16 n or more
    set_exp(parallel, T, root(-top.e % divisor), -top.e / divisor);
}

void check_degree(u64 n, const char* function) {
    if (n == 0) throw ArithmeticException(function, "Divide by zero.");
}

void run_basic(const newton::Iteration& names, const MultiplyContext& context, BigFloat& T, const BigFloat& A,
               u64 n, u64 p, LinearWordBuffer buffer) {
    newton::basic_levels(
        names, T, p, [&](BigFloat& start) { set_start(context.parallel, start, A, n); },
        [&](BigFloat& x, u64 level) { newton::nth_root_basic_step(context, x, A, n, level, buffer); });
}

using WindowStep = void (*)(const MultiplyContext&, Status&, BigFloat&, const BigFloat&, u64, const BigFloat&,
                            u64, LinearWordBuffer);

void run_windowed(const char* function, WindowStep step, const InvNthRootPlan& plan,
                  const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& A, u64 p,
                  LinearWordBuffer buffer, u64 n) {
    newton::check_plan(plan.p, plan.tds, p, context.parallel.tds, function);
    check_degree(n, function);
    const newton::Iteration names = iteration(function);
    const BigFloat a = A.kept(context.parallel, p + 4);  // without words that no level reads
    newton::window_levels(
        names, T, p, buffer,
        [&](BigFloat& t, u64 level, LinearWordBuffer rest) {
            run_basic(names, context, t, a, n, level, rest);
        },
        [&](BigFloat& t, const BigFloat& x, u64 level, LinearWordBuffer rest) {
            step(context, status, t, a, n, x.kept(context.parallel, newton::nth_root_previous(level) + 2),
                 level, rest);
        },
        newton::rest_of);
}

}  // namespace

namespace newton {
namespace {

// T = x^(n + 1), also where n + 1 does not fit a word. product: p + 4 words, used up.
void power_above(const MultiplyContext& context, BigFloat& T, const BigFloat& x, u64 n, u64 p,
                 BigFloat& product) {
    const LinearWordBuffer words(product.buffer, product.buffer_size);
    if (n != ~u64(0)) return power(context, null_status(), T, x, n + 1, p, words);
    power(context, null_status(), T, x, n, p, words);
    product.set_mul(p + 1, context, T, x);
    T.set_BigFloat(p + 1, context.parallel, product);
}

// The lowest word that a result of p words near x keeps.
i64 lowest_kept(const BigFloat& x, u64 p) {
    return x.mag() - static_cast<i64>(p) - 3;
}

}  // namespace

void nth_root_basic_step(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 n, u64 p,
                         LinearWordBuffer buffer) {
    const ParallelContext& parallel = context.parallel;
    const u64 previous = nth_root_basic_previous(p);
    const u64 working = p + 2;
    BigFloat x = carve<BigFloat>(buffer, nth_root_basic_estimate_words(p));
    BigFloat y = carve<BigFloat>(buffer, nth_root_power_words(p));

    x.set_BigFloat(previous + 1, parallel, T);
    power_above(context, T, x, n, working, y);
    y.set_mul(working, context, A.kept_if_cheap(parallel, working + 2), T);
    T.set_sub(working, parallel, y, x);
    divide_by_small(parallel, y, T, n, lowest_kept(x, p));
    T.set_sub(working, parallel, x, y);
}

// A x^(n+1) and x agree above w, which is where x's error begins, times n: the window [mag - p, w) of the
// product is enough.
void nth_root_expanded_step(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& A,
                            u64 n, const BigFloat& x, u64 p, LinearWordBuffer buffer) {
    const ParallelContext& parallel = context.parallel;
    const u64 previous = nth_root_previous(p);
    BigFloat y = carve<BigFloat>(buffer, nth_root_power_words(p));
    {
        StatusFrame frame(status, " 0P ", status_digits(p));
        power_above(context, T, x, n, p, y);
    }
    const i64 bottom = x.mag() - static_cast<i64>(p) - 1;
    const i64 w = x.mag() - static_cast<i64>(previous) + 3;
    {
        StatusFrame frame(status, " 1M ", status_digits(p));
        window_product(context, window_product_words(p), y, A, p + 1, T, p + 1, bottom, w);
    }
    const BigFloat low_x = words_between(parallel, x, bottom - 2, w);
    subtract_windows(parallel, T, p - previous + 5, y, low_x, w, kRunExpanded);
    {
        StatusFrame frame(status, " 2D ", status_digits(p));
        divide_by_small(parallel, y, T, n, lowest_kept(x, p));
    }
    T.set_sub(p + 2, parallel, x, y);
}

void nth_root_factored_step(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& A,
                            u64 n, const BigFloat& x, u64 p, LinearWordBuffer buffer) {
    const ParallelContext& parallel = context.parallel;
    const u64 previous = nth_root_previous(p);
    const i64 t = error_bound(previous);
    BigFloat y = carve<BigFloat>(buffer, nth_root_power_words(p));
    {
        StatusFrame frame(status, " 0P ", status_digits(p));
        power(context, null_status(), T, x, n, p, LinearWordBuffer(y.buffer, y.buffer_size));
    }
    {
        StatusFrame frame(status, " 1M ", status_digits(p));
        window_product(context, window_product_words(p), y, A, p + 1, T, p + 1, -static_cast<i64>(p), t);
    }
    const Estimate side = take_error_below(parallel, y, t, previous, kRunFactored);
    if (side == Estimate::exact) return T.set_BigFloat(p + 2, parallel, x);

    {
        StatusFrame frame(status, side == Estimate::over ? " O2M " : " U2M ", status_digits(p));
        T.set_mul(previous, context, x, y);
        if (side == Estimate::over) {
            divide_by_small(parallel, y, T, n, lowest_kept(x, p));
            return T.set_sub(p + 2, parallel, x, y);
        }
    }
    StatusFrame frame(status, " U3D ", status_digits(p));
    divide_by_small(parallel, y, T, n, lowest_kept(x, p));
    T.set_add(p + 2, parallel, x, y);
}

}  // namespace newton

void InvNthRootFloat_BigFloatR_E::run(const InvNthRootPlan& plan, const MultiplyContext& context, BigFloat& T,
                                      const BigFloat& A, u64 p, LinearWordBuffer buffer, u64 n) {
    newton::check_plan(plan.basic_p, plan.tds, p, context.parallel.tds, kBasicRun);
    check_degree(n, kBasicRun);
    run_basic(iteration(kBasicRun), context, T, A.kept(context.parallel, p + 4), n, p, buffer);
}

void InvNthRootFloat_BigFloatR_P::run_expanded(const InvNthRootPlan& plan, const MultiplyContext& context,
                                               Status& status, BigFloat& T, const BigFloat& A, u64 p,
                                               LinearWordBuffer buffer, u64 n) {
    run_windowed(kRunExpanded, newton::nth_root_expanded_step, plan, context, status, T, A, p, buffer, n);
}

void InvNthRootFloat_BigFloatR_P::run_factored(const InvNthRootPlan& plan, const MultiplyContext& context,
                                               Status& status, BigFloat& T, const BigFloat& A, u64 p,
                                               LinearWordBuffer buffer, u64 n) {
    run_windowed(kRunFactored, newton::nth_root_factored_step, plan, context, status, T, A, p, buffer, n);
}

void inv_nth_root(const InvNthRootPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                  const BigFloat& A, u64 n) {
    StatusSection section(status, "Radical x^(-1/" + std::to_string(n) + ")...");
    StatusFrame frame(section.node(), "Iterating: ");
    // Products of a power: a squaring a bit, a multiplication a one. x^(n+1) for an odd n has fewer ones, but
    // not where n + 1 does not fit a word.
    const auto products = [](u64 k) { return std::bit_width(k) + std::popcount(k); };
    const auto run = n != ~u64(0) && products(n + 1) <= products(n)
                         ? InvNthRootFloat_BigFloatR_P::run_expanded
                         : InvNthRootFloat_BigFloatR_P::run_factored;
    const newton::RunMemory memory(context, plan.temporaries);
    run(plan, memory.context, frame.node(), T, A, plan.p, memory.temporaries, n);
}

}  // namespace trel
