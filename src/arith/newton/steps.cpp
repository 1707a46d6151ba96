#include "arith/newton/steps.h"

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"
#include "base/errors/exceptions.h"

namespace trel::newton {

LinearWordBuffer larger_of(const LinearWordBuffer& rest, const BigFloat& result) {
    return rest.size() >= result.buffer_size ? rest : LinearWordBuffer(result.buffer, result.buffer_size);
}

HeldTransforms::HeldTransforms(const MultiplyContext& mp, u64 product_words, u64 held) : context_(mp) {
    make_transform(holder_, product_words, mp);
    const u64 needed = (held + 1) * holder_->data_bytes() + holder_->scratch_bytes();
    if (mp.scratch.size() < needed)
        throw BufferTooSmallException("TransformHelper::TransformHelper()", mp.scratch.size(), needed);
    data_ = context_.scratch.spawn(held * holder_->data_bytes()).get();
}

u64 HeldTransforms::scratch_bytes(u64 product_words, u64 held) {
    const MultiplySizes sizes = basic_table64().get_algorithm(product_words).sizes(product_words);
    return (held + 1) * sizes.transform_data + sizes.transform_scratch;
}

}  // namespace trel::newton
