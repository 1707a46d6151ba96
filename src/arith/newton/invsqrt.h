// Newton's iteration for the inverse square root of a BigFloat.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/newton/coupled_root.h"
#include "arith/newton/newton_plan.h"
#include "base/status/status.h"

namespace trel {

// The result has p + 4 words.
struct InvsqrtFloatPlan : NewtonPlan {
    u64 basic_p;  // the basic form's largest precision, min(p, 10)
    newton::CoupledRange coupled;

    static InvsqrtFloatPlan make(u64 p, u64 tds);
    static InvsqrtFloatPlan make(u64 p, u64 tds, const newton::CoupledRange& coupled);
};

// T = A^(-1/2), A > 0; basic form (p up to plan.basic_p).
struct InvsqrtFloat_BigFloatR_E {
    static void run(const InvsqrtFloatPlan& plan, const MultiplyContext& context, BigFloat& T,
                    const BigFloat& A, u64 p, LinearWordBuffer buffer);
};
// The same with windowed transform products from p = 10 up.
struct InvsqrtFloat_BigFloatR {
    static void run(const InvsqrtFloatPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                    const BigFloat& A, u64 p, LinearWordBuffer buffer);
};
// The same as formulas call it: announced as "Large Invsqrt...", progress behind "Iterating: ".
void large_invsqrt(const InvsqrtFloatPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                   const BigFloat& A);

namespace newton {

// x = A^(-1/2) to previous_precision(root.next) words, and s and d of it, for a root.next of the coupled
// range. x: root_estimate_words(root.next) words; buffer: what the plan of root.next words leaves beside x, s
// and d, or T's words where those are more.
void coupled_estimate(const CoupledRange& coupled, const MultiplyContext& context, Status& status,
                      BigFloat& x, const BigFloat& A, const CoupledRoot& root, LinearWordBuffer buffer);

}  // namespace newton

}  // namespace trel
