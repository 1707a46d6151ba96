#include "constants/evaluator/large_product.h"

#include <algorithm>

#include "arith/bigfloat/combine.h"
#include "arith/bigfloat/number_check.h"
#include "arith/estimate/product_work.h"
#include "arith/multiply/product_needs.h"
#include "arith/residue/carried.h"
#include "base/status/status_scope.h"

namespace kalvor {

namespace {

// Words that a product's memory is planned for beyond those of its operands.
constexpr u64 kSpareWords = 8;
// Words of both operands taken below those that the kept words of the second step need.
constexpr u64 kOverlap = 2;

}  // namespace

LargeProduct::LargeProduct(u64 precision, u64 room) : precision_(precision) {
    const u64 words = precision + 2;
    needs_ = product_needs(2 * words + kSpareWords);
    // The first that fits, or a half. Both steps together are the longer the more words are left to the
    // second.
    for (u64 eighths = 1; eighths <= 4 && needs_.bytes > room; eighths++) {
        low_ = words * eighths / 8;
        low_product_words_ = round_up_8(low_ + kSpareWords);
        needs_ = product_needs(2 * words - low_ + kSpareWords).above(low_product_words_);
    }
    // One word for the carry of the last addition.
    needs_.result_words = precision + 3;
}

WorkPhase LargeProduct::work() const {
    const double work = product_work(2.0 * static_cast<double>(precision_));
    return {"multiplication", work * kWorkSeconds, work};
}

void LargeProduct::run(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& x,
                       const BigFloat& y) const {
    StatusSection section(status, "Large Multiply...");
    StatusFrame frame(section.node(), "Multiplying: ");
    StatusIteration progress(frame.node(), Status::IterationMode::percentage, 2);
    // A product with a short operand is short itself. In two steps it would lose words.
    if (low_ == 0 || x.L + y.L + kSpareWords <= needs_.product_words) {
        return T.set_mul(precision_, context, x, y);
    }
    AlignedBufferC memory = context.scratch;
    BigFloat lower = carve<BigFloat>(memory, low_product_words_);
    const MultiplyContext rest = context.with_scratch(memory);
    const u64 upper = precision_ + 2 - low_;
    const BigFloat above = y.kept(context.parallel, upper);
    T.set_mul(precision_, rest, x, above);
    progress.update(1);
    BigFloat bottom = y;
    bottom.L = y.L - upper;
    bottom.residue = carried::sub(y.residue, above.residue);
    while (bottom.L > 0 && bottom.T[bottom.L - 1] == 0) bottom.L--;
    const i64 reach = x.mag() + bottom.mag() - T.exp;
    if (is_zero(bottom, "LargeProduct::run()")) {
        // The upper words were all.
    } else if (reach <= 0) {
        // No product carries their residues on.
        x.verify(context.parallel, "a factor above the product's words");
        bottom.verify(context.parallel, "a factor below the product's words");
    } else {
        const u64 words = static_cast<u64>(reach) + kOverlap;
        lower.set_mul(static_cast<u64>(reach), rest, x.kept(context.parallel, words),
                      bottom.kept(context.parallel, words));
        combine_ip(context.parallel, T, lower, false);
    }
    progress.update(2);
}

}  // namespace kalvor
