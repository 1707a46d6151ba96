// The square root of a BigFloat (after Karp and Markstein, 1997: the last level of Newton's iteration works
// on the root itself, so that the inverse root is needed to half of the words only).
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/newton/invsqrt.h"
#include "arith/newton/newton_plan.h"
#include "base/status/status.h"

namespace trel {

// The result has p + 4 words.
struct SqrtFloatPlan : NewtonPlan {
    InvsqrtFloatPlan invsqrt;

    static SqrtFloatPlan make(u64 p, u64 tds);
    static SqrtFloatPlan make(u64 p, u64 tds, const newton::CoupledRange& coupled);
};

// Frames of the progress line around the inverse root and the product by it.
struct SqrtLabels {
    const char* inverse_root = " 3Q ";
    const char* product = " 4M ";
};

// T = A^(1/2), A > 0, else the errors of the inverse root. Where the levels of the inverse root are coupled
// (coupled_root.h), 11 transforms of p words in all: 1.8 products. Elsewhere A A^(-1/2). T overlaps neither A
// nor the buffer.
// What is labelled as the product is the third of a level that ends the root where levels are coupled.
struct SqrtFloat_BigFloatR {
    static void run(const SqrtFloatPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                    const BigFloat& A, u64 p, LinearWordBuffer buffer, const SqrtLabels& labels = {});
};

}  // namespace trel
