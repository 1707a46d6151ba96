#include "arith/multiply/product_needs.h"

#include <algorithm>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"

namespace trel {

Needs product_needs(u64 words) {
    return {0, round_up_64(basic_table64().mSBsizes(words).scratch), words};
}

Needs kept_product_needs(u64 words, u64 room) {
    const MultiplySizes sizes = basic_table64().mSBsizes(words);
    const u64 plain = round_up_64(sizes.scratch);
    const u64 kept = round_up_64(2 * sizes.transform_data + sizes.transform_scratch);
    return {0, kept <= room ? std::max(kept, plain) : plain, words};
}

u64 basecase_words() {
    static const u64 words = basic_table64().items().front().threshold_words;
    return words;
}

bool KeptTransform::fits(const MultiplyContext& context, u64 product_words, u64 words) {
    return product_words > basecase_words() &&
           kept_product_needs(product_words, kAnyRoom).above(words).bytes <= context.scratch.size();
}

KeptTransform::KeptTransform(const MultiplyContext& outer, u64 product_words) : context(outer) {
    make_transform(holder, product_words, outer);
    data = context.scratch.spawn(holder->data_bytes()).get();
}

}  // namespace trel
