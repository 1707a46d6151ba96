// Powers of one word.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "base/status/status.h"

namespace trel {

struct PowerWordPlan {
    u64 p;
    u64 tds;
    u64 product_words;  // the largest square
    u64 result;         // words of T's buffer, p + 4
    u64 temporaries;    // words of the word buffer (the alternate of T)
    u64 scratch_bytes;  // MultiplyContext::scratch

    // For any power, truncated to about p words.
    static PowerWordPlan make(u64 p, u64 tds);
    // For all words of w^n and of smaller powers of w; less scratch than make(exact_words(w, n), tds).
    static PowerWordPlan make_exact(Word w, u64 n, u64 tds);
    // Words that w^n needs at most. Throws LimitExceededException beyond 2^60 words.
    static u64 exact_words(Word w, u64 n);
};

struct Power_uW_uL_BigFloatR {
    // T = w^n at precision p + 1, truncated; exact when p >= exact_words(w, n). n = 0 leaves T as it is.
    // buffer: plan.temporaries words. A power of two in w costs one shift of the result (10^n is made from
    // 5^n), and whole zero words at the bottom go into the exponent.
    //
    // About n's bits squarings, the last of them as long as the result: less than two squarings of that size.
    // Throws LimitExceededException "Precision" / "Task Decomposition" beyond the plan,
    // ExponentOverflowException beyond 2^61 - 1 words, BufferTooSmallException.
    static void run(const PowerWordPlan& plan, const MultiplyContext& mp, Status& status, BigFloat& T, Word w,
                    u64 n, u64 p, Word* buffer);
};

}  // namespace trel
