// The product of two values as the last step of a formula. Its whole transform is often the longest of a
// computation. Where that would take more memory than there is anyway, the product is done in two steps;
// where a half of y is left to the second, they take three quarters of the length:
//
//           |  upper words of y  |  lower words of y: an eighth to a half  |
//   all of x        first          second: as many upper words of x alone, added to the first
//
// What is left out lies below the guard words.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/multiply/multiply_context.h"
#include "arith/multiply/needs.h"
#include "base/names/names.h"
#include "base/status/status.h"
#include "base/status/work_meter.h"

namespace kalvor {

class LargeProduct {
  public:
    // The product of values of at most precision + 2 words. room: bytes of memory beside operands and result
    // that cost nothing.
    LargeProduct(u64 precision, u64 room);

    // Beside the operands.
    // Less where long operands are multiplied in two steps, because they do not fit the room in one.
    const Needs& needs() const { return needs_; }
    WorkPhase work() const;

    // T = x y to the precision, announced as "Large Multiply...". T is neither of them; they may be one.
    void run(const MultiplyContext& context, Status& status, BigFloat& T, const BigFloat& x,
             const BigFloat& y) const;

  private:
    u64 precision_;
    u64 low_ = 0;                // words of y that are left to the second step
    u64 low_product_words_ = 0;  // of its product's buffer
    Needs needs_;
};

}  // namespace kalvor
