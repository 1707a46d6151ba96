// Powers of one word.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "base/status/status.h"

namespace trel {

struct PowerWordPlan {
    u64 p;
    u64 tds;
    u64 result;         // words of T's buffer, p + 4
    u64 temporaries;    // words of the word buffer (the alternate of T)
    u64 scratch_bytes;  // MultiplyContext::scratch

    // For w^n with n <= n_max to p words; p large enough for all words of the power gives the exact power.
    static PowerWordPlan make(u64 p, u64 tds);
    // Words that w^n needs at most.
    static u64 exact_words(Word w, u64 n);
};

struct Power_uW_uL_BigFloatR {
    // T = w^n at precision p + 1, truncated; buffer: plan.temporaries words
    static void run(const PowerWordPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T, Word w, u64 n,
                    u64 p, Word* buffer);
};

}  // namespace trel
