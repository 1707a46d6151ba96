// Division of BigFloats (Karp and Markstein 1997): half a reciprocal and one correction step.
#pragma once

#include "arith/newton/reciprocal.h"

namespace trel {

// Whether a division keeps the transform of the reciprocal for its second product. Without it that is made
// once more, and the scratch is that of one product.
enum class DivisionTransforms { kept, none };

struct DivisionPlan : NewtonPlan {
    DivisionTransforms transforms;
    u64 q;  // precision of the reciprocal
    ReciprocalPlan reciprocal;
    u64 x, y, correction;  // words of the temporaries

    static DivisionPlan make(u64 p, u64 tds, DivisionTransforms transforms = DivisionTransforms::kept);
};

struct Division_BigFloatR {
    // T = A / B to the plan's p words. T may stand in B's words, which are then lost; A lies clear of it.
    static void run(const DivisionPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                    const BigFloat& A, const BigFloat& B, LinearWordBuffer buffer);
};
// The same as formulas call it: announced as "Large Division...", progress behind "Iterating: ".
void large_division(const DivisionPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                    const BigFloat& A, const BigFloat& B);

}  // namespace trel
