// Powers of a BigFloat.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/kernels/linear_word_buffer.h"
#include "arith/newton/reciprocal.h"
#include "base/status/status.h"

namespace trel {

struct PowerFloatPlan {
    u64 p;
    u64 tds;
    u64 result;         // words of T's buffer, p + 4
    u64 temporaries;    // words of the word buffer (the alternate of T)
    u64 scratch_bytes;  // MultiplyContext::scratch

    static PowerFloatPlan make(u64 p, u64 tds);
};

struct Power_BF_uL_BigFloatR {
    // T = A^n at precision p + 1, truncated at every step: the relative error is below 2n units of the word p
    // + 1 words below the top one. n = 0 leaves T as it is; n = 1 copies. The base's forward transform is
    // made once when the base is as long as the power. T overlaps A nowhere.
    //
    // Throws LimitExceededException "Precision" / "Task Decomposition" beyond the plan,
    // ExponentOverflowException beyond 2^61 - 1 words, BufferTooSmallException.
    static void run(const PowerFloatPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T,
                    const BigFloat& A, u64 n, u64 p, LinearWordBuffer buffer);
};

// A plan for powers of either sign, and the power as formulas call it: announced as "Powering..."
// ("Squaring..." for n = 2), for a negative n then as "Inverting...". T = A^n; n = 0 gives 1.
struct SignedPowerPlan {
    PowerFloatPlan power;
    ReciprocalPlan reciprocal;
    u64 result;         // words
    u64 temporaries;    // words
    u64 scratch_bytes;  // MultiplyContext::scratch

    static SignedPowerPlan make(u64 p, u64 tds);
};
void large_power(const SignedPowerPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T,
                 const BigFloat& A, i64 n, LinearWordBuffer buffer);

}  // namespace trel
