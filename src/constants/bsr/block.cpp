#include "constants/bsr/block.h"

namespace kalvor::BinarySplitting {

BlockNeeds product_needs(u64 words) {
    return {trel::round_up_64(trel::basic_table64().mSBsizes(words).scratch), words};
}

BlockNeeds kept_product_needs(u64 words, u64 room) {
    const trel::MultiplySizes sizes = trel::basic_table64().mSBsizes(words);
    const u64 plain = trel::round_up_64(sizes.scratch);
    const u64 kept = trel::round_up_64(2 * sizes.transform_data + sizes.transform_scratch);
    return {kept <= room ? std::max(kept, plain) : plain, words};
}

u64 basecase_words() {
    static const u64 words = trel::basic_table64().items().front().threshold_words;
    return words;
}

}  // namespace kalvor::BinarySplitting
