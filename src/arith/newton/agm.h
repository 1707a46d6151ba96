// Arithmetic-geometric means of BigFloats.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/kernels/linear_word_buffer.h"
#include "arith/newton/invsqrt.h"
#include "base/status/status.h"

namespace trel {

// The iteration runs at p + 2 words with p >= 3: below that its stop rule, which looks at whole words, ends
// too early.
struct AGMPlan {
    u64 p;
    u64 tds;
    InvsqrtFloatPlan invsqrt;  // of p + 2 words
    u64 result;                // words of the buffers of T, a and b
    u64 temporaries2;          // words of the word buffer of AGM2
    u64 temporaries1;          // the same of AGM1
    u64 scratch_bytes;         // MultiplyContext::scratch

    static AGMPlan make(u64 p, u64 tds);
};

// T = AGM(1, x), x >= 0. T: plan.result words.
struct AGM1_BigFloatR {
    static void run(const AGMPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T,
                    const BigFloat& x, u64 p, LinearWordBuffer buffer);
};
// a = AGM(a, b), a, b >= 0; b is destroyed. a, b: plan.result words each.
struct AGM2_BigFloatR {
    static void run(const AGMPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& a, BigFloat& b,
                    u64 p, LinearWordBuffer buffer);
};
// The same as formulas call them: announced as "AGM(1,x)..." and "AGM(a,b)...".
void agm1(const AGMPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T, const BigFloat& x,
          LinearWordBuffer buffer);
void agm2(const AGMPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& a, BigFloat& b,
          LinearWordBuffer buffer);

}  // namespace trel
