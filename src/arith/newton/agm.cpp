#include "arith/newton/agm.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include "arith/estimate/double_double.h"
#include "arith/multiply/dispatch.h"
#include "arith/newton/recursion.h"
#include "arith/newton/steps.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"

namespace trel {
namespace {

const char kRun1[] = "AGM1_BigFloatR::run()";
const char kRun2[] = "AGM2_BigFloatR::run()";

constexpr u64 kLeastPrecision = 3;

u64 working_precision(u64 p) {
    return std::max(p, kLeastPrecision) + 2;
}
// A sum at the working precision, with its carry.
u64 sum_words(u64 working) {
    return round_up_8(working + 3);
}

DoubleDouble ln_of(const BigFloat& A) {
    const ScaledDouble top = top_as_double(A);
    return ln(DoubleDouble(top.d)) + dd::ln2_64() * DoubleDouble(static_cast<double>(top.e));
}

// Decimal digits in which a and b agree when they differ by d; none of them is zero.
std::string agreeing_digits(const BigFloat& a, const BigFloat& b, const BigFloat& d) {
    const DoubleDouble la = ln_of(a), lb = ln_of(b);
    const DoubleDouble nats = (la < lb ? la : lb) - ln_of(d);
    return digit_count_text(nats < DoubleDouble(0.0) ? DoubleDouble(0.0) : nats);
}

// One line of progress: "AGM: 1234" and the label "( 1234 )" around the steps; emplace() ends the line
// before.
struct MeanFrames {
    MeanFrames(Status& status, const std::string& state)
        : outer(status, "AGM: " + state), inner(outer.node(), "( " + state + " )") {}
    Status& node() { return inner.node(); }
    StatusFrame outer, inner;
};

}  // namespace

AGMPlan AGMPlan::make(u64 p, u64 tds) {
    AGMPlan plan;
    const u64 working = working_precision(p);
    plan.p = p;
    plan.tds = tds;
    plan.invsqrt = InvsqrtFloatPlan::make(working, tds);
    plan.result = std::max(plan.invsqrt.result, working + 3);
    plan.temporaries2 = 2 * sum_words(working) + plan.invsqrt.temporaries;
    plan.temporaries1 = round_up_8(plan.result) + plan.temporaries2;
    plan.scratch_bytes =
        std::max(plan.invsqrt.scratch_bytes, round_up_64(multiply_scratch_bytes(2 * working + 4)));
    return plan;
}

namespace {

// a, b >= 0, not zero. The root is made in a's words: by then the sum is all that is needed of a.
void mean(const AGMPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& a, BigFloat& b, u64 p,
          LinearWordBuffer buffer) {
    const ParallelContext& P = mp.parallel;
    const u64 working = working_precision(p);
    const u64 digits = status_digits(working);
    const i64 target = -static_cast<i64>(working - 2);
    const LinearWordBuffer s_words = buffer.cut_from_bottom(sum_words(working));
    const LinearWordBuffer g_words = buffer.cut_from_bottom(sum_words(working));
    BigFloat s(s_words.get(), s_words.size());
    BigFloat g(g_words.get(), g_words.size());

    std::optional<MeanFrames> frames;
    frames.emplace(status, "?");
    i64 distance = 0;
    do {
        BigFloat& d = s;
        {
            StatusFrame frame(frames->node(), " 0A ", digits);
            d.set_sub(working, P, a, b);
        }
        if (d.L == 0) break;
        distance = d.mag() - std::min(a.mag(), b.mag());
        frames.emplace(status, agreeing_digits(a, b, d));
        if (distance < target) break;
        {
            StatusFrame frame(frames->node(), " 1A ", digits);
            s.set_add(working, P, a, b);
        }
        {
            StatusFrame frame(frames->node(), " 2M ", digits);
            g.set_mul(working, mp, a, b);
        }
        BigFloat& h = a;
        {
            StatusFrame frame(frames->node(), " 3Q ", digits);
            InvsqrtFloat_BigFloatR::run(plan.invsqrt, mp, frame.node(), h, g, working, buffer);
        }
        {
            StatusFrame frame(frames->node(), " 4M ", digits);
            b.set_mul(working, mp, g, h);
        }
        StatusFrame frame(frames->node(), " 5S ", digits);
        newton::set_half(working, P, a, s);
    } while (target < 2 * distance);

    frames.emplace(status, "Final");
    {
        StatusFrame frame(frames->node(), " 0A ", digits);
        s.set_add(working, P, a, b);
    }
    StatusFrame frame(frames->node(), " 1S ", digits);
    newton::set_half(working, P, a, s);
}

}  // namespace

void AGM2_BigFloatR::run(const AGMPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& a,
                         BigFloat& b, u64 p, LinearWordBuffer buffer) {
    newton::check_plan(plan.p, plan.tds, p, mp.parallel.tds, kRun2);
    if (a.L == 0 || b.L == 0) {
        a.clear();
        b.clear();
        return;
    }
    if (!a.sign || !b.sign) throw InvalidParametersException(kRun2, "One of the inputs is negative.");
    a.check_normalization();
    b.check_normalization();
    const u64 needed = working_precision(p) + 4;
    const u64 given = std::min(a.buffer_size, b.buffer_size);
    if (given < needed) throw BufferTooSmallException(kRun2, given, needed);
    mean(plan, mp, status, a, b, p, buffer);
}

void AGM1_BigFloatR::run(const AGMPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T,
                         const BigFloat& x, u64 p, LinearWordBuffer buffer) {
    newton::check_plan(plan.p, plan.tds, p, mp.parallel.tds, kRun1);
    if (x.L == 0) return T.clear();
    if (!x.sign) throw InvalidParametersException(kRun1, "AGM of negative number.");
    const u64 working = working_precision(p);
    const u64 digits = status_digits(working);
    if (T.buffer_size < working + 4) throw BufferTooSmallException(kRun1, T.buffer_size, working + 4);

    const ParallelContext& P = mp.parallel;
    const LinearWordBuffer b_words = buffer.cut_from_bottom(round_up_8(plan.result));
    BigFloat b(b_words.get(), b_words.size());
    {
        // The sum waits in memory that the mean will use.
        LinearWordBuffer rest = buffer;
        const LinearWordBuffer s_words = rest.cut_from_bottom(sum_words(working));
        BigFloat s(s_words.get(), s_words.size());
        StatusFrame start(status, "(start)");
        {
            Word one_word;
            BigFloat one(&one_word, 1);
            one.set_double(1.0, 0);
            StatusFrame frame(start.node(), " 0A ", digits);
            s.set_add(working, P, one, x);
        }
        {
            StatusFrame frame(start.node(), " 1Q ", digits);
            InvsqrtFloat_BigFloatR::run(plan.invsqrt, mp, frame.node(), T, x, working, rest);
        }
        {
            StatusFrame frame(start.node(), " 2M ", digits);
            b.set_mul(working, mp, x, T);
        }
        StatusFrame frame(start.node(), " 3S ", digits);
        newton::set_half(working, P, T, s);
    }
    mean(plan, mp, status, T, b, p, buffer);
}

void agm1(const AGMPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T, const BigFloat& x,
          LinearWordBuffer buffer) {
    StatusSection section(status, "AGM(1,x)...");
    AGM1_BigFloatR::run(plan, mp, section.node(), T, x, plan.p, buffer);
}

void agm2(const AGMPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& a, BigFloat& b,
          LinearWordBuffer buffer) {
    StatusSection section(status, "AGM(a,b)...");
    AGM2_BigFloatR::run(plan, mp, section.node(), a, b, plan.p, buffer);
}

}  // namespace trel
