// What the plans of this room have in common.
#pragma once

#include "arith/kernels/linear_word_buffer.h"
#include "arith/multiply/multiply_context.h"
#include "arith/multiply/needs.h"

namespace trel {

// Memory of an iteration for p words on tds tasks. A run takes its temporaries apart from the scratch of its
// products, because within a recursion they may be words of a result to come; the functions that formulas
// call (large_division() and the like) take both from the context: needs().
struct NewtonPlan {
    u64 p = 0;
    u64 tds = 0;
    u64 result = 0;       // words of T's buffer
    u64 temporaries = 0;  // words of the word buffer
    Needs products;       // MultiplyContext::scratch, and the longest product

    Needs needs() const { return needs_with(temporaries); }

  protected:
    Needs needs_with(u64 words) const {
        return Needs{result, products.bytes, products.product_words}.above(words);
    }
};

namespace newton {

// The error of a root, quotient or mean of p words: below 2^kErrorBits units of its p-th word. From p = 2 on
// it is far below, because guard words follow.
inline constexpr u32 kErrorBits = 6;

// The temporaries at the front of a context's memory, and the context with what remains of it.
struct RunMemory {
    RunMemory(const MultiplyContext& outer, u64 words)
        : context(outer), temporaries(carve<LinearWordBuffer>(context.scratch, words)) {}

    MultiplyContext context;
    LinearWordBuffer temporaries;
};

}  // namespace newton
}  // namespace trel
