#include "arith/multiply/multiply_algorithm.h"

#include <algorithm>

namespace trel {

void MultiplySizes::take_maximum(const MultiplySizes& other) {
    output = std::max(output, other.output);
    scratch = std::max(scratch, other.scratch);
    transform_data = std::max(transform_data, other.transform_data);
    transform_scratch = std::max(transform_scratch, other.transform_scratch);
}

MultiplySizes MultiplySizes::of(const Transform& transform, u64 words) {
    return {round_up_64(words * sizeof(Word)), transform.whole_bytes(), transform.data_bytes(),
            transform.scratch_bytes()};
}

SharedTables::~SharedTables() = default;
MultiplyAlgorithm::~MultiplyAlgorithm() = default;

u64 MultiplyAlgorithm::sqr(const MultiplyContext& context, Word* T, const Word* A, u64 L, u64 carried) const {
    return MultiplyAlgorithm::sqr_skip(context, T, 0, 2 * L, A, L, carried);
}

u64 MultiplyAlgorithm::mul(const MultiplyContext& context, Word* T, const Word* A, u64 LA, const Word* B,
                           u64 LB, Carried carried) const {
    return MultiplyAlgorithm::mul_skip(context, T, 0, LA + LB, A, LA, B, LB, carried);
}

u64 MultiplyAlgorithm::sqr_skip(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A,
                                u64 L, u64 carried) const {
    TransformHolder transform;
    make_transform(transform, 2 * L, context);
    AlignedBufferC memory = context.scratch;
    void* const work = memory.spawn(transform->data_bytes() + transform->scratch_bytes()).get();
    return transform->square_plain(context.parallel, T, skip, total, A, L, work, carried);
}

u64 MultiplyAlgorithm::mul_skip(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A,
                                u64 LA, const Word* B, u64 LB, Carried carried) const {
    TransformHolder transform;
    make_transform(transform, LA + LB, context);
    AlignedBufferC memory = context.scratch;
    void* const work = memory.spawn(transform->plain_bytes()).get();
    return transform->multiply_plain(context.parallel, T, skip, total, A, LA, B, LB, work, carried.a,
                                     carried.b);
}

int MultiplyAlgorithm::mul_skip_transform(const MultiplyContext& context, Word* T, u64 skip, u64 total,
                                          const Word* A, u64 LA, const Word* B, u64 LB, Carried carried,
                                          u64* residue) const {
    const u64 r = MultiplyAlgorithm::mul_skip(context, T, skip, total, A, LA, B, LB, carried);
    if (residue != nullptr) *residue = r;
    return 0;
}

u64 MultiplyAlgorithm::table_bytes(u64) const {
    return 0;
}

std::unique_ptr<SharedTables> MultiplyAlgorithm::make_tables(u64, AlignedBufferC,
                                                             const ParallelContext&) const {
    return nullptr;
}

}  // namespace trel
