// Powers of a BigFloat.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/newton/reciprocal.h"
#include "base/status/status.h"

namespace trel {

// The result has p + 4 words, the temporaries are its alternate.
struct PowerFloatPlan : NewtonPlan {
    static PowerFloatPlan make(u64 p, u64 tds);
};

struct Power_BF_uL_BigFloatR {
    // T = A^n at precision p + 1, truncated at every step: the relative error is below 2n units of the word p
    // + 1 words below the top one. n = 0 leaves T as it is; n = 1 copies. The base's forward transform is
    // made once when the base is as long as the power. T overlaps A nowhere.
    //
    // Throws LimitExceededException "Precision" / "Task Decomposition" beyond the plan,
    // ExponentOverflowException beyond 2^61 - 1 words, BufferTooSmallException.
    static void run(const PowerFloatPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                    const BigFloat& A, u64 n, u64 p, LinearWordBuffer buffer);
};

// A plan for powers of either sign, and the power as formulas call it: announced as "Powering..."
// ("Squaring..." for n = 2), for a negative n then as "Inverting...". T = A^n; n = 0 gives 1.
struct SignedPowerPlan : NewtonPlan {
    PowerFloatPlan power;
    ReciprocalPlan reciprocal;

    static SignedPowerPlan make(u64 p, u64 tds);
};
void large_power(const SignedPowerPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                 const BigFloat& A, i64 n);

}  // namespace trel
