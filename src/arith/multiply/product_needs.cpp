#include "arith/multiply/product_needs.h"

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"

namespace trel {

Needs product_needs(u64 words) {
    return basic_table64().mSBsizes(words).whole_product(words);
}

Needs kept_product_needs(u64 words, u64 room) {
    const MultiplySizes sizes = basic_table64().mSBsizes(words);
    const Needs plain = sizes.whole_product(words);
    const Needs kept = sizes.held_product(words).above(sizes.transform_words());
    return kept.bytes <= room ? kept.maximum(plain) : plain;
}

u64 basecase_words() {
    static const u64 words = basic_table64().items().front().threshold_words;
    return words;
}

bool KeptTransform::fits(const MultiplyContext& context, u64 product_words, u64 words) {
    if (product_words <= basecase_words()) return false;
    // Most merges are short, and their memory is ample.
    static const Needs most = kept_product_needs(kShortProductWords, kAnyRoom);
    if (product_words <= kShortProductWords && most.above(words).bytes <= context.scratch.size()) return true;
    return kept_product_needs(product_words, kAnyRoom).above(words).bytes <= context.scratch.size();
}

bool KeptTransform::two_fit(const MultiplyContext& context, u64 product_words) {
    const auto transform_words = [](u64 words) { return basic_table64().mSBsizes(words).transform_words(); };
    static const u64 of_short = transform_words(kShortProductWords);
    return fits(context, product_words,
                product_words <= kShortProductWords ? of_short : transform_words(product_words));
}

KeptTransform::KeptTransform(const MultiplyContext& outer, u64 product_words) : context(outer) {
    make_transform(holder, product_words, outer, Wraps::never);
    data = context.scratch.spawn(holder->data_bytes()).get();
}

}  // namespace trel
