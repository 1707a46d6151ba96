#include "constants/builtin/pi.h"

#include <algorithm>

#include "arith/bigfloat/combine.h"
#include "arith/multiply/product_needs.h"
#include "arith/newton/invsqrt_word.h"
#include "arith/newton/newton_work.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/bsr/series_value.h"
#include "constants/builtin/pi_series.h"

namespace kalvor {

using trel::AlignedBufferC;
using trel::BigFloat;
using trel::MultiplyContext;
using trel::Needs;
using trel::round_up_8;
using trel::u64;
using trel::Word;

namespace {

struct Finish {
    BinarySplitting::Coefficients coefficients;
    Word invsqrt;
};

// Pi^power = x invsqrt^(-1/2). 4270934400 = 426880 * 10005.
Finish finish_of(PiSeriesKind kind, int power) {
    if (kind == PiSeriesKind::chudnovsky) {
        return {{1, 13591409, power == 1 ? Word(4270934400) : Word(426880), -power, true}, 10005};
    }
    if (power == 1) return {{1, 1103, 9801, -1, false}, 8};
    return {{4, 4412, 9801, 1, false}, 2};
}

PiSeriesKind kind_of(PiAlgorithm algorithm) {
    return algorithm == PiAlgorithm::chudnovsky || algorithm == PiAlgorithm::chudnovsky_reduced
               ? PiSeriesKind::chudnovsky
               : PiSeriesKind::ramanujan;
}
bool reduced(PiAlgorithm algorithm) {
    return algorithm == PiAlgorithm::chudnovsky_reduced || algorithm == PiAlgorithm::ramanujan_reduced;
}

int checked_power(int power) {
    if (power != 1 && power != -1) throw trel::InvalidParametersException("Pi", "Power must be 1 or -1.");
    return power;
}

// The last product, x y to p + 2 words. Its whole transform is the longest of the computation. Where that
// would take more memory than the rest, it is done in two steps with three quarters of the length: x times
// the upper half of y, then the upper half of x times the lower half of y; what is left out lies below the
// guard words.
struct LastProduct {
    LastProduct(u64 p, u64 room) : p(p), needs(trel::product_needs(2 * (p + 2) + 8)) {
        if (needs.bytes <= room) return;
        low = (p + 2) / 2;
        low_product_words = round_up_8(p - low + 8);
        needs = trel::product_needs(std::max(2 * (p + 2) - low, 2 * low) + 8).above(low_product_words);
    }

    void run(const MultiplyContext& context, trel::Status& status, BigFloat& T, const BigFloat& x,
             const BigFloat& y) const {
        trel::StatusSection section(status, "Large Multiply...");
        trel::StatusFrame frame(section.node(), "Multiplying: ");
        trel::StatusIteration progress(frame.node(), trel::Status::IterationMode::percentage, 2);
        if (low == 0 || y.L <= low) return T.set_mul(p, context, x, y);
        AlignedBufferC memory = context.scratch;
        BigFloat lower = trel::carve<BigFloat>(memory, low_product_words);
        const MultiplyContext rest = context.with_scratch(memory);
        T.set_mul(p, rest, x, y.top(y.L - low));
        progress.update(1);
        BigFloat bottom = y;
        bottom.L = low;
        while (bottom.L > 0 && bottom.T[bottom.L - 1] == 0) bottom.L--;
        const i64 reach = x.mag() + bottom.mag() - T.exp;
        if (bottom.L > 0 && reach > 0) {
            const u64 words = static_cast<u64>(reach) + kOverlap;
            lower.set_mul(static_cast<u64>(reach), rest, x.top(words), bottom.top(words));
            trel::combine_ip(context.parallel, T, lower, false);
        }
        progress.update(2);
    }

    // Words of x and y taken below those that the kept words need.
    static constexpr u64 kOverlap = 2;

    u64 p;
    u64 low = 0;  // words of y's lower half
    u64 low_product_words = 0;
    Needs needs;
    using i64 = trel::i64;
};

}  // namespace

// x, the series' value, waits in the buffer of the result. Working memory:
//
//   [sum and division]
//   [y, the inverse square root][its temporaries and scratch]
//                               [the last product][its scratch]
struct PiPlan::Parts {
    Parts(PiAlgorithm algorithm, int power, u64 precision_words, u64 tds)
        : precision(precision_words),
          kind(kind_of(algorithm)),
          finish(finish_of(kind, checked_power(power))),
          series(kind, precision),
          invsqrt(trel::InvsqrtWordPlan::make(precision, tds)),
          y_words(round_up_8(invsqrt.result)),
          root(invsqrt.needs().above(y_words)),
          value(series, finish.coefficients, reduced(algorithm) ? precision / 2 : precision, tds, root.bytes,
                reduced(algorithm) ? trel::DivisionTransforms::none : trel::DivisionTransforms::kept),
          needs(value.needs().maximum(root)),
          // One word above the product's for the carry of its last addition.
          result_words(round_up_8(std::max(needs.result_words, precision + 3))),
          product(precision, trel::room_above(needs.bytes, y_words + result_words)) {
        needs.take_maximum(product.needs.above(y_words + result_words));
        needs.result_words = result_words;
    }

    u64 precision;
    PiSeriesKind kind;
    Finish finish;
    PiSeries series;
    trel::InvsqrtWordPlan invsqrt;
    u64 y_words;
    Needs root;
    BinarySplitting::SummedSeriesPlan<BinarySplitting::CommonP2B3::Family> value;
    Needs needs;
    u64 result_words;
    LastProduct product;
};

PiPlan::PiPlan(PiAlgorithm algorithm, int power, u64 precision_words, u64 tds)
    : parts_(std::make_unique<Parts>(algorithm, power, precision_words, tds)) {}
PiPlan::~PiPlan() = default;

u64 PiPlan::result_words() const {
    return parts_->needs.result_words;
}
u64 PiPlan::working_bytes() const {
    return parts_->needs.bytes;
}
u64 PiPlan::max_product_words() const {
    return parts_->needs.product_words;
}

const char* PiPlan::label() const {
    return parts_->kind == PiSeriesKind::chudnovsky ? "Pi - Chudnovsky (1988):" : "Pi - Ramanujan (1910):";
}

std::vector<trel::WorkPhase> PiPlan::work() const {
    std::vector<trel::WorkPhase> phases = parts_->value.work();
    const double root = trel::newton::levels_work(parts_->precision);
    const double product = trel::product_work(2.0 * static_cast<double>(parts_->precision));
    phases.push_back({"square root", root * trel::kWorkSeconds, root});
    phases.push_back({"multiplication", product * trel::kWorkSeconds, product});
    return phases;
}

u64 PiPlan::series_blocks() const {
    return parts_->value.sum().blocks();
}
u64 PiPlan::series_blocks_checked() const {
    const auto& series = parts_->value.sum();
    u64 checked = 0;
    for (std::size_t i = 0; i < series.blocks(); i++) checked += series.block(i).exact() ? 1 : 0;
    return checked;
}

void Pi_Series_BigFloatR::run(const PiPlan& plan, const MultiplyContext& context, trel::Status& status,
                              BigFloat& result) {
    const PiPlan::Parts& parts = plan.parts();
    status.Status_Line(plan.label());

    BigFloat& x = result;
    parts.value.run(context, status, x);

    status.work().enter("square root");
    AlignedBufferC memory = context.scratch;
    BigFloat y = trel::carve<BigFloat>(memory, parts.y_words);
    trel::invsqrt_word(parts.invsqrt, context.with_scratch(memory), status, y, parts.finish.invsqrt);
    BigFloat product = trel::carve<BigFloat>(memory, parts.result_words);
    status.work().enter("multiplication");
    parts.product.run(context.with_scratch(memory), status, product, x, y);
    result.set_BigFloat(parts.precision, context.parallel, product);
}

}  // namespace kalvor
