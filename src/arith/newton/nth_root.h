// Newton's iteration for the inverse nth root of a BigFloat.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/kernels/linear_word_buffer.h"
#include "base/status/status.h"

namespace trel {

struct InvNthRootPlan {
    u64 p;
    u64 tds;
    u64 basic_p;        // the basic form's largest precision, min(p, 10)
    u64 result;         // words of T's buffer, p + 6
    u64 temporaries;    // words of the word buffer
    u64 scratch_bytes;  // MultiplyContext::scratch

    static InvNthRootPlan make(u64 p, u64 tds);
};

// T = A^(-1/n), A > 0, n >= 1; basic form (p up to plan.basic_p).
struct InvNthRootFloat_BigFloatR_E {
    static void run(const InvNthRootPlan& plan, const MultiplyContext& mp, BigFloat& T, const BigFloat& A,
                    u64 p, LinearWordBuffer buffer, u64 n);
};
// The same with windowed transform products from p = 10 up. Expanded: x - (A x^(n+1) - x) / n. Factored:
// x + x (1 - A x^n) / n, one half-size product more, but x^n instead of x^(n+1).
struct InvNthRootFloat_BigFloatR_P {
    static void run_expanded(const InvNthRootPlan& plan, const MultiplyContext& mp, Status& status,
                             BigFloat& T, const BigFloat& A, u64 p, LinearWordBuffer buffer, u64 n);
    static void run_factored(const InvNthRootPlan& plan, const MultiplyContext& mp, Status& status,
                             BigFloat& T, const BigFloat& A, u64 p, LinearWordBuffer buffer, u64 n);
};
// The same as formulas call it, in the form that costs less: announced as "Radical x^(-1/n)...", progress
// behind "Iterating: ".
void inv_nth_root(const InvNthRootPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T,
                  const BigFloat& A, u64 n, LinearWordBuffer buffer);

}  // namespace trel
