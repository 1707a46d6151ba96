// Newton's iteration for the inverse square root of a BigFloat.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/kernels/linear_word_buffer.h"
#include "arith/newton/coupled_root.h"
#include "base/status/status.h"

namespace trel {

struct InvsqrtFloatPlan {
    u64 p;
    u64 tds;
    u64 basic_p;        // the basic form's largest precision, min(p, 10)
    u64 result;         // words of T's buffer, p + 4
    u64 temporaries;    // words of the word buffer
    u64 scratch_bytes;  // MultiplyContext::scratch
    newton::CoupledRange coupled;

    static InvsqrtFloatPlan make(u64 p, u64 tds);
    static InvsqrtFloatPlan make(u64 p, u64 tds, const newton::CoupledRange& coupled);
};

// T = A^(-1/2), A > 0; basic form (p up to plan.basic_p).
struct InvsqrtFloat_BigFloatR_E {
    static void run(const InvsqrtFloatPlan& plan, const MultiplyContext& mp, BigFloat& T, const BigFloat& A,
                    u64 p, LinearWordBuffer buffer);
};
// The same with windowed transform products from p = 10 up.
struct InvsqrtFloat_BigFloatR {
    static void run(const InvsqrtFloatPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T,
                    const BigFloat& A, u64 p, LinearWordBuffer buffer);
};
// The same as formulas call it: announced as "Large Invsqrt...", progress behind "Iterating: ".
void large_invsqrt(const InvsqrtFloatPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T,
                   const BigFloat& A, LinearWordBuffer buffer);

}  // namespace trel
