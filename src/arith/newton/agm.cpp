#include "arith/newton/agm.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include "arith/bigfloat/number_check.h"
#include "arith/estimate/double_double.h"
#include "arith/multiply/product_needs.h"
#include "arith/newton/recursion.h"
#include "arith/newton/steps.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"

namespace trel {
namespace {

const char kMean[] = "Mean::run()";
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
    plan.root = SqrtFloatPlan::make(working, tds);
    plan.result = std::max(plan.root.result, working + 3);
    plan.temporaries2 = 2 * sum_words(working) + std::max(plan.root.temporaries, sum_words(working));
    plan.temporaries = round_up_8(plan.result) + plan.temporaries2;
    plan.products = plan.root.products.maximum(product_needs(2 * working + 4));
    return plan;
}

namespace {

// Bits by which one number may exceed the other when the squares are taken: as many bits of a b are lost to
// the difference that it is then.
constexpr double kNearBits = 8;

// A quarter of a number is 2^62 of it one word down.
constexpr Word kQuarter = Word(1) << 62;

bool are_near(const BigFloat& a, const BigFloat& b) {
    const ScaledDouble x = top_as_double(a), y = top_as_double(b);
    return std::abs(std::log2(x.d) - std::log2(y.d) + 64.0 * static_cast<double>(x.e - y.e)) <= kNearBits;
}

// The loop of both means. Numbers of the working precision: a and b in the caller's words, A and B in the
// buffer; what a step needs beside them uses the root's words.
class Mean {
  public:
    Mean(const AGMPlan& plan, const MultiplyContext& context, u64 p, BigFloat& a, BigFloat& b,
         LinearWordBuffer buffer)
        : plan_(plan),
          context_(context),
          parallel_(context.parallel),
          working_(working_precision(p)),
          digits_(status_digits(working_)),
          a_(a),
          b_(b),
          A_(carve<BigFloat>(buffer, sum_words(working_))),
          B_(carve<BigFloat>(buffer, sum_words(working_))),
          buffer_(buffer) {}

    void run(Status& status);

  private:
    BigFloat temporary() const {
        LinearWordBuffer rest = buffer_;
        return carve<BigFloat>(rest, sum_words(working_));
    }
    // a and B of the next step.
    void step_by_product(Status& status);
    void step_by_squares(Status& status);

    const AGMPlan& plan_;
    const MultiplyContext& context_;
    const ParallelContext& parallel_;
    const u64 working_, digits_;
    BigFloat &a_, &b_;
    BigFloat A_, B_;
    bool knows_A_ = false, knows_B_ = false;
    const LinearWordBuffer buffer_;
};

void Mean::step_by_product(Status& status) {
    BigFloat s = temporary();
    {
        StatusFrame frame(status, " 1A ", digits_);
        s.set_add(working_, parallel_, a_, b_);
    }
    {
        StatusFrame frame(status, " 2M ", digits_);
        B_.set_mul(working_, context_, a_, b_);
        knows_B_ = true;
    }
    StatusFrame frame(status, " 5S ", digits_);
    newton::set_half(working_, parallel_, a_, s);
}

void Mean::step_by_squares(Status& status) {
    if (!knows_A_ || !knows_B_) {
        StatusFrame frame(status, " 2M ", digits_);
        if (!knows_A_) A_.set_sqr(working_, context_, a_);
        if (!knows_B_) B_.set_sqr(working_, context_, b_);
        knows_A_ = knows_B_ = true;
    }
    BigFloat s = temporary();
    BigFloat& squares = b_;
    {
        StatusFrame frame(status, " 1A ", digits_);
        s.set_add(working_, parallel_, a_, b_);
        squares.set_add(working_, parallel_, A_, B_);
    }
    {
        StatusFrame frame(status, " 2M ", digits_);
        A_.set_sqr(working_, context_, s);
        B_.set_sub(working_, parallel_, A_, squares);
    }
    StatusFrame frame(status, " 5S ", digits_);
    newton::set_half(working_, parallel_, a_, s);
    newton::halve(parallel_, B_);
    A_.mul_uW(parallel_, kQuarter);
    A_.move(-1);
}

void Mean::run(Status& status) {
    const i64 target = -static_cast<i64>(working_ - 2);
    std::optional<MeanFrames> frames;
    frames.emplace(status, "?");
    i64 distance = 0;
    do {
        BigFloat d = temporary();
        {
            StatusFrame frame(frames->node(), " 0A ", digits_);
            d.set_sub(working_, parallel_, a_, b_);
        }
        parallel_.stage("distance", &d, sizeof(d));
        if (is_zero(d, kMean)) break;
        distance = d.mag() - std::min(a_.mag(), b_.mag());
        // Only d says that these steps are enough.
        if (2 * distance <= target) d.verify(parallel_, "the distance of two means");
        frames.emplace(status, agreeing_digits(a_, b_, d));
        if (distance < target) break;
        if (are_near(a_, b_))
            step_by_squares(frames->node());
        else
            step_by_product(frames->node());
        SqrtFloat_BigFloatR::run(plan_.root, context_, frames->node(), b_, B_, working_, buffer_);
    } while (target < 2 * distance);

    frames.emplace(status, "Final");
    BigFloat s = temporary();
    {
        StatusFrame frame(frames->node(), " 0A ", digits_);
        s.set_add(working_, parallel_, a_, b_);
    }
    StatusFrame frame(frames->node(), " 1S ", digits_);
    newton::set_half(working_, parallel_, a_, s);
}

}  // namespace

void AGM2_BigFloatR::run(const AGMPlan& plan, const MultiplyContext& context, Status& status, BigFloat& a,
                         BigFloat& b, u64 p, LinearWordBuffer buffer) {
    newton::check_plan(plan.p, plan.tds, p, context.parallel.tds, kRun2);
    if (is_zero(a, kRun2) || is_zero(b, kRun2)) {
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
    Mean(plan, context, p, a, b, buffer).run(status);
}

void AGM1_BigFloatR::run(const AGMPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                         const BigFloat& x, u64 p, LinearWordBuffer buffer) {
    newton::check_plan(plan.p, plan.tds, p, context.parallel.tds, kRun1);
    if (is_zero(x, kRun1)) return T.clear();
    if (!x.sign) throw InvalidParametersException(kRun1, "AGM of negative number.");
    const u64 working = working_precision(p);
    const u64 digits = status_digits(working);
    if (T.buffer_size < working + 4) throw BufferTooSmallException(kRun1, T.buffer_size, working + 4);

    const ParallelContext& parallel = context.parallel;
    BigFloat b = carve<BigFloat>(buffer, round_up_8(plan.result));
    {
        // The sum waits in memory that the mean will use.
        LinearWordBuffer rest = buffer;
        BigFloat s = carve<BigFloat>(rest, sum_words(working));
        StatusFrame start(status, "(start)");
        {
            Word one_word;
            BigFloat one(&one_word, 1);
            one.set_double(1.0, 0);
            StatusFrame frame(start.node(), " 0A ", digits);
            s.set_add(working, parallel, one, x);
        }
        SqrtFloat_BigFloatR::run(plan.root, context, start.node(), b, x, working, rest, {" 1Q ", " 2M "});
        StatusFrame frame(start.node(), " 3S ", digits);
        newton::set_half(working, parallel, T, s);
    }
    Mean(plan, context, p, T, b, buffer).run(status);
}

void agm1(const AGMPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
          const BigFloat& x) {
    StatusSection section(status, "AGM(1,x)...");
    const newton::RunMemory memory(context, plan.temporaries);
    AGM1_BigFloatR::run(plan, memory.context, section.node(), T, x, plan.p, memory.temporaries);
}

void agm2(const AGMPlan& plan, const MultiplyContext& context, Status& status, BigFloat& a, BigFloat& b) {
    StatusSection section(status, "AGM(a,b)...");
    const newton::RunMemory memory(context, plan.temporaries2);
    AGM2_BigFloatR::run(plan, memory.context, section.node(), a, b, plan.p, memory.temporaries);
}

}  // namespace trel
