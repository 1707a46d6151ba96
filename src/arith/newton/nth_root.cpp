#include "arith/newton/nth_root.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <string>

#include "arith/bigfloat/big_float_transform.h"
#include "arith/estimate/double_double.h"
#include "arith/multiply/dispatch.h"
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
    return p == 0 ? 0 : newton::nth_root_basic_previous(p) + 2 + newton::nth_root_power_words(p);
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
    plan.scratch_bytes = PowerFloatPlan::make(std::max(p, plan.basic_p + 2), tds).scratch_bytes;
    if (p >= newton::kTransformPrecision)
        plan.scratch_bytes = std::max(plan.scratch_bytes,
                                      newton::window_product_scratch_bytes(newton::window_product_words(p)));
    return plan;
}

namespace {

// T = exp(y) 2^(64 e), y a pair of doubles not large: 1 + expm1(y) near 1, where the pair's low part is all
// that expm1's rounding leaves to add, else whole words split off.
void set_exp(const ParallelContext& P, BigFloat& T, const DoubleDouble& y, i64 e) {
    Word high_word[2], low_word[2];
    BigFloat high(high_word, 2), low(low_word, 2);
    if (std::fabs(y.high) < 0x1p-16) {
        high.set_double(1.0, e);
        low.set_double(std::expm1(y.high) + y.low, e);
    } else {
        const double words = std::floor(y.high / dd::ln2_64().high);
        const DoubleDouble value = exp(y - dd::ln2_64() * DoubleDouble(words));
        high.set_double(value.high, e + static_cast<i64>(words));
        low.set_double(value.low, e + static_cast<i64>(words));
    }
    T.set_add(3, P, high, low);
}

// A^(-1/n) from the logarithm of A's top. Beyond the range of a double the exponent is divided by n apart.
// The logarithm is a pair of doubles: an error a of the start becomes (n + 1) a^2 / 2 in the first level, and
// with n above 10^6 the square of a double's error would be seen in the words of the lowest precisions.
void set_start(const ParallelContext& P, BigFloat& T, const BigFloat& A, u64 n) {
    if (A.L == 0) throw ArithmeticException(kBasicRun, "Divide by zero.");
    if (!A.sign) throw ArithmeticException(kBasicRun, "Nth root of negative number.");
    A.check_normalization();
    const ScaledDouble top = top_as_double(A);
    const DoubleDouble part = reciprocal(DoubleDouble(static_cast<double>(n)));
    const auto root = [&](i64 words) {
        return -((ln(DoubleDouble(top.d)) - dd::ln2_64() * DoubleDouble(static_cast<double>(words))) * part);
    };
    const DoubleDouble y = root(-top.e);
    if (std::fabs(y.high) < 709.0895657128241) return set_exp(P, T, y, 0);  // 1023 ln 2
    const i64 divisor = static_cast<i64>(n);
    set_exp(P, T, root(-top.e % divisor), -top.e / divisor);
}

void check_degree(u64 n, const char* function) {
    if (n == 0) throw ArithmeticException(function, "Divide by zero.");
    if (n > u64(1) << 32) throw LimitExceededException(function, "Degree", u64(1) << 32, n);
}

void run_basic(const newton::Iteration& names, const MultiplyContext& mp, BigFloat& T, const BigFloat& A,
               u64 n, u64 p, LinearWordBuffer buffer) {
    newton::basic_levels(
        names, T, p, [&](BigFloat& start) { set_start(mp.parallel, start, A, n); },
        [&](BigFloat& x, u64 level) { newton::nth_root_basic_step(mp, x, A, n, level, buffer); });
}

using WindowStep = void (*)(const MultiplyContext&, Status&, BigFloat&, const BigFloat&, u64, const BigFloat&,
                            u64, LinearWordBuffer);

void run_windowed(const char* function, WindowStep step, const InvNthRootPlan& plan,
                  const MultiplyContext& mp, Status& status, BigFloat& T, const BigFloat& A, u64 p,
                  LinearWordBuffer buffer, u64 n) {
    newton::check_plan(plan.p, plan.tds, p, mp.parallel.tds, function);
    check_degree(n, function);
    const newton::Iteration names = iteration(function);
    newton::window_levels(
        names, T, p, buffer,
        [&](BigFloat& t, u64 level, LinearWordBuffer rest) { run_basic(names, mp, t, A, n, level, rest); },
        [&](BigFloat& t, const BigFloat& x, u64 level, LinearWordBuffer rest) {
            step(mp, status, t, A, n, x.top(newton::nth_root_previous(level) + 2), level, rest);
        },
        newton::rest_of);
}

}  // namespace

namespace newton {

void nth_root_basic_step(const MultiplyContext& mp, BigFloat& T, const BigFloat& A, u64 n, u64 p,
                         LinearWordBuffer buffer) {
    const ParallelContext& P = mp.parallel;
    const u64 previous = nth_root_basic_previous(p);
    const u64 working = p + 2;
    const LinearWordBuffer x_words = buffer.cut_from_bottom(previous + 2);
    const LinearWordBuffer y_words = buffer.cut_from_bottom(nth_root_power_words(p));
    BigFloat x(x_words.get(), x_words.size());
    BigFloat y(y_words.get(), y_words.size());

    x.set_BigFloat(previous, P, T);
    power(mp, null_status(), T, x, n + 1, working, y_words);
    y.set_mul(working, mp, A, T);
    T.set_sub(working, P, y, x);
    divide_by_small(P, y, T, n);
    T.set_sub(working, P, x, y);
}

// A x^(n+1) and x agree above w, which is where x's error begins, times n: the window [mag - p, w) of the
// product is enough.
void nth_root_expanded_step(const MultiplyContext& mp, Status& status, BigFloat& T, const BigFloat& A, u64 n,
                            const BigFloat& x, u64 p, LinearWordBuffer buffer) {
    const ParallelContext& P = mp.parallel;
    const u64 previous = nth_root_previous(p);
    const LinearWordBuffer y_words = buffer.cut_from_bottom(nth_root_power_words(p));
    BigFloat y(y_words.get(), y_words.size());
    {
        StatusFrame frame(status, " 0P ", status_digits(p));
        power(mp, null_status(), T, x, n + 1, p, y_words);
    }
    const i64 bottom = x.mag() - static_cast<i64>(p) - 1;
    const i64 w = x.mag() - static_cast<i64>(previous) + 3;
    {
        StatusFrame frame(status, " 1M ", status_digits(p));
        window_product(mp, window_product_words(p), y, A, p + 1, T, p + 1, bottom, w);
    }
    const BigFloat low_x = words_between(P, x, bottom - 2, w);
    subtract_windows(P, T, p - previous + 5, y, low_x, w, kRunExpanded);
    {
        StatusFrame frame(status, " 2D ", status_digits(p));
        divide_by_small(P, y, T, n);
    }
    T.set_sub(p + 2, P, x, y);
}

void nth_root_factored_step(const MultiplyContext& mp, Status& status, BigFloat& T, const BigFloat& A, u64 n,
                            const BigFloat& x, u64 p, LinearWordBuffer buffer) {
    const ParallelContext& P = mp.parallel;
    const u64 previous = nth_root_previous(p);
    const i64 t = error_bound(previous);
    const LinearWordBuffer y_words = buffer.cut_from_bottom(nth_root_power_words(p));
    BigFloat y(y_words.get(), y_words.size());
    {
        StatusFrame frame(status, " 0P ", status_digits(p));
        power(mp, null_status(), T, x, n, p, y_words);
    }
    {
        StatusFrame frame(status, " 1M ", status_digits(p));
        window_product(mp, window_product_words(p), y, A, p + 1, T, p + 1, -static_cast<i64>(p), t);
    }
    const Estimate side = take_error_below(P, y, t, previous, kRunFactored);
    if (side == Estimate::exact) return T.set_BigFloat(p + 2, P, x);

    {
        StatusFrame frame(status, side == Estimate::over ? " O2M " : " U2M ", status_digits(p));
        T.set_mul(previous, mp, x, y);
        if (side == Estimate::over) {
            divide_by_small(P, y, T, n);
            return T.set_sub(p + 2, P, x, y);
        }
    }
    StatusFrame frame(status, " U3D ", status_digits(p));
    divide_by_small(P, y, T, n);
    T.set_add(p + 2, P, x, y);
}

}  // namespace newton

void InvNthRootFloat_BigFloatR_E::run(const InvNthRootPlan& plan, const MultiplyContext& mp, BigFloat& T,
                                      const BigFloat& A, u64 p, LinearWordBuffer buffer, u64 n) {
    newton::check_plan(plan.basic_p, plan.tds, p, mp.parallel.tds, kBasicRun);
    check_degree(n, kBasicRun);
    run_basic(iteration(kBasicRun), mp, T, A, n, p, buffer);
}

void InvNthRootFloat_BigFloatR_P::run_expanded(const InvNthRootPlan& plan, const MultiplyContext& mp,
                                               Status& status, BigFloat& T, const BigFloat& A, u64 p,
                                               LinearWordBuffer buffer, u64 n) {
    run_windowed(kRunExpanded, newton::nth_root_expanded_step, plan, mp, status, T, A, p, buffer, n);
}

void InvNthRootFloat_BigFloatR_P::run_factored(const InvNthRootPlan& plan, const MultiplyContext& mp,
                                               Status& status, BigFloat& T, const BigFloat& A, u64 p,
                                               LinearWordBuffer buffer, u64 n) {
    run_windowed(kRunFactored, newton::nth_root_factored_step, plan, mp, status, T, A, p, buffer, n);
}

void inv_nth_root(const InvNthRootPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T,
                  const BigFloat& A, u64 n, LinearWordBuffer buffer) {
    StatusSection section(status, "Radical x^(-1/" + std::to_string(n) + ")...");
    StatusFrame frame(section.node(), "Iterating: ");
    // Products of a power: a squaring a bit, a multiplication a one. x^(n+1) for an odd n has fewer ones.
    const auto products = [](u64 k) { return std::bit_width(k) + std::popcount(k); };
    const auto run = products(n + 1) <= products(n) ? InvNthRootFloat_BigFloatR_P::run_expanded
                                                    : InvNthRootFloat_BigFloatR_P::run_factored;
    run(plan, mp, frame.node(), T, A, plan.p, buffer, n);
}

}  // namespace trel
