// What products through the dispatcher take.
#pragma once

#include "arith/multiply/multiply_context.h"
#include "arith/multiply/needs.h"
#include "arith/multiply/transform.h"

namespace trel {

// Products of at most `words` words: one by one.
Needs product_needs(u64 words);
// With one kept transform beside the work of a product where that fits into `room` bytes.
Needs kept_product_needs(u64 words, u64 room);
// The longest product that is not done with transforms.
u64 basecase_words();

// A transform in the context's memory that is kept for two products, and what remains of the memory.
struct KeptTransform {
    // Whether the context has room for it above `words` words more. Short products have no transforms.
    static bool fits(const MultiplyContext& context, u64 product_words, u64 words);
    // The same for two transforms that are kept at once.
    static bool two_fit(const MultiplyContext& context, u64 product_words);
    KeptTransform(const MultiplyContext& outer, u64 product_words);

    TransformHolder holder;
    MultiplyContext context;
    void* data;
};

}  // namespace trel
