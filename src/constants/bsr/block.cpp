#include "constants/bsr/block.h"

namespace kalvor::BinarySplitting {

BlockNeeds product_needs(u64 words) {
    const trel::MultiplySizes sizes = trel::basic_table64().mSBsizes(words);
    BlockNeeds needs;
    needs.scratch_bytes =
        trel::round_up_64(std::max(sizes.scratch, 2 * sizes.transform_data + sizes.transform_scratch));
    needs.product_words = words;
    return needs;
}

u64 basecase_words() {
    static const u64 words = trel::basic_table64().items().front().threshold_words;
    return words;
}

}  // namespace kalvor::BinarySplitting
