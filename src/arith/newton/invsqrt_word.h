// Newton's iteration for the inverse square root of one word.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/kernels/linear_word_buffer.h"
#include "base/status/status.h"

namespace trel {

struct InvsqrtWordPlan {
    u64 p;
    u64 tds;
    u64 result;         // words of T's buffer
    u64 temporaries;    // words of the word buffer
    u64 scratch_bytes;  // MultiplyContext::scratch

    static InvsqrtWordPlan make(u64 p, u64 tds);
};

struct InvsqrtWord_BigFloatR_E {
    static void run(const InvsqrtWordPlan& plan, const MultiplyContext& mp, BigFloat& T, Word w, u64 p,
                    LinearWordBuffer buffer);
};
struct InvsqrtWord_BigFloatR {
    static void run(const InvsqrtWordPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T,
                    Word w, u64 p, LinearWordBuffer buffer);
};
// The same as formulas call it: announced as "InvSqrt(w)...", progress behind "Iterating: ".
void invsqrt_word(const InvsqrtWordPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T, Word w,
                  LinearWordBuffer buffer);

}  // namespace trel
