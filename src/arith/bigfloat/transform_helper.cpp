#include "arith/bigfloat/transform_helper.h"

#include <algorithm>

#include "arith/multiply/dispatch.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

u64 needed_bytes(const Transform& transform) {
    return 2 * transform.data_bytes() + transform.scratch_bytes();
}

// Six words beyond the square of the kept words: the operand may come with its 2 extra words.
u64 product_words(u64 length, u64 p) {
    return 2 * std::min(p, length) + 6;
}

}  // namespace

TransformHelper::TransformHelper(const MultiplyContext& context, const BigFloat& A, u64 p)
    : context_(context), p_(p) {
    make_transform(transform_, product_words(A.L, p), context);
    if (context.scratch.size() < needed_bytes(*transform_)) {
        throw BufferTooSmallException("TransformHelper::TransformHelper()", context.scratch.size(),
                                      needed_bytes(*transform_));
    }
}

u64 TransformHelper::scratch_bytes(const MultiplyContext& context, u64 length, u64 p) {
    TransformHolder transform;
    make_transform(transform, product_words(length, p), context);
    return needed_bytes(*transform);
}

void TransformHelper::sqr(BigFloat& T, const BigFloat& A) const {
    MultiplyContext context = context_;
    void* data = context.scratch.spawn(transform_->data_bytes()).get();
    BigFloatTransformR square(*transform_, data);
    const i64 top = 2 * A.mag();
    square.sqr_r_x(context, T, A, p_, std::max(top - static_cast<i64>(p_), 2 * A.exp), top);
}

}  // namespace trel
