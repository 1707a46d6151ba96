// Newton's iteration for the reciprocal of a BigFloat, with plans made beforehand.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/newton/newton_plan.h"
#include "base/status/status.h"

namespace trel {

struct ReciprocalPlan : NewtonPlan {
    NewtonPlan basic;  // of the basic form, for min(p, 10) words

    static ReciprocalPlan make(u64 p, u64 tds);
};

// T = 1/A to p words, basic form (p up to plan.basic.p).
struct Reciprocal_BigFloatR_E {
    static void run(const ReciprocalPlan& plan, const MultiplyContext& context, BigFloat& T,
                    const BigFloat& A, u64 p, LinearWordBuffer buffer);
};
// The same with windowed transform products from p = 10 up.
struct Reciprocal_BigFloatR {
    static void run(const ReciprocalPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                    const BigFloat& A, u64 p, LinearWordBuffer buffer);
};

}  // namespace trel
