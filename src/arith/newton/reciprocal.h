// Newton's iteration for the reciprocal of a BigFloat, with plans made beforehand.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/kernels/linear_word_buffer.h"
#include "base/status/status.h"

namespace trel {

// Everything a reciprocal of p words on tds tasks needs. Words unless stated.
struct ReciprocalPlan {
    u64 p;
    u64 tds;
    u64 basic_p;  // min(p, 10)
    u64 basic_tds;
    u64 basic_result;
    u64 basic_temporaries;
    u64 basic_scratch_bytes;
    u64 result;         // the result buffer
    u64 temporaries;    // the word buffer
    u64 scratch_bytes;  // MultiplyContext::scratch

    static ReciprocalPlan make(u64 p, u64 tds);
};

// T = 1/A to p words, basic form (p up to plan.basic_p).
struct Reciprocal_BigFloatR_E {
    static void run(const ReciprocalPlan& plan, const MultiplyContext& mp, BigFloat& T, const BigFloat& A,
                    u64 p, LinearWordBuffer buffer);
};
// The same with windowed transform products from p = 10 up.
struct Reciprocal_BigFloatR {
    static void run(const ReciprocalPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T,
                    const BigFloat& A, u64 p, LinearWordBuffer buffer);
};

}  // namespace trel
