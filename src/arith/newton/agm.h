// Arithmetic-geometric means of BigFloats. While one number is far above the other a step is a product and a
// square root. After that the squares A = a^2 and B = b^2 go along:
//
//     s = a + b,   a' = s / 2,   A' = s^2 / 4,   B' = a b = (s^2 - A - B) / 2,   b' = B'^(1/2)
//
// a square and a root, 15 transforms of p words instead of 17. Errors do not add up: those of A and B enter
// B' by a half and against those of a and b.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/newton/sqrt.h"
#include "base/status/status.h"

namespace trel {

// The iteration runs at p + 2 words with p >= 3: below that its stop rule, which looks at whole words, ends
// too early.
//
// needs() are those of AGM1. a and b of AGM2 have as many words as the result.
struct AGMPlan : NewtonPlan {
    SqrtFloatPlan root;  // of p + 2 words
    u64 temporaries2;    // words of the word buffer of AGM2

    Needs needs2() const { return needs_with(temporaries2); }
    static AGMPlan make(u64 p, u64 tds);
};

// T = AGM(1, x), x >= 0. T: plan.result words; buffer: plan.temporaries.
struct AGM1_BigFloatR {
    static void run(const AGMPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                    const BigFloat& x, u64 p, LinearWordBuffer buffer);
};
// a = AGM(a, b), a, b >= 0; b is destroyed. a, b: plan.result words each; buffer: plan.temporaries2.
struct AGM2_BigFloatR {
    static void run(const AGMPlan& plan, const MultiplyContext& context, Status& status, BigFloat& a,
                    BigFloat& b, u64 p, LinearWordBuffer buffer);
};
// The same as formulas call them: announced as "AGM(1,x)..." and "AGM(a,b)...".
void agm1(const AGMPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
          const BigFloat& x);
void agm2(const AGMPlan& plan, const MultiplyContext& context, Status& status, BigFloat& a, BigFloat& b);

}  // namespace trel
