// Newton's iteration for the inverse square root of one word.
#pragma once

#include <string>

#include "arith/bigfloat/big_float.h"
#include "arith/newton/newton_plan.h"
#include "base/status/status.h"

namespace trel {

struct InvsqrtWordPlan : NewtonPlan {
    static InvsqrtWordPlan make(u64 p, u64 tds);
};

struct InvsqrtWord_BigFloatR_E {
    static void run(const InvsqrtWordPlan& plan, const MultiplyContext& context, BigFloat& T, Word w, u64 p,
                    LinearWordBuffer buffer);
};
struct InvsqrtWord_BigFloatR {
    static void run(const InvsqrtWordPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                    Word w, u64 p, LinearWordBuffer buffer);
};
// The same as formulas call it: announced, with progress behind "Iterating: ".
void invsqrt_word(const InvsqrtWordPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                  Word w, const std::string& announcement);

}  // namespace trel
