#include "arith/multiply/multiply_algorithm32.h"

#include <algorithm>
#include <cstring>

namespace trel {
namespace {

u64 words64(u64 n) {
    return n / 2 + n % 2;
}

// Both operands of a product of `words` words, padded: one word of 64 bits more when both lengths are odd.
u64 padded_words(u64 words) {
    return words / 2 + 1;
}

const Word* pad(Word* to, const u32* A, u64 L) {
    if (L != 0) to[words64(L) - 1] = 0;
    std::memcpy(to, A, L * sizeof(u32));
    return to;
}

}  // namespace

MultiplyAlgorithm32::~MultiplyAlgorithm32() = default;

void MultiplyAlgorithm32::sqr(const MultiplyContext& context, u32* T, const u32* A, u64 L) const {
    sqr_skip(context, T, 0, 2 * L, A, L);
}

void MultiplyAlgorithm32::mul(const MultiplyContext& context, u32* T, const u32* A, u64 LA, const u32* B,
                              u64 LB) const {
    mul_skip(context, T, 0, LA + LB, A, LA, B, LB);
}

int MultiplyAlgorithm32::mul_skip_transform(const MultiplyContext& context, u32* T, u64 skip, u64 total,
                                            const u32* A, u64 LA, const u32* B, u64 LB) const {
    mul_skip(context, T, skip, total, A, LA, B, LB);
    return 0;
}

MultiplySizes PaddedAlgorithm32::sizes(u64 words) const {
    const u64 padded = padded_words(words);
    MultiplySizes sizes = algorithm_.sizes(std::min(padded, max_words64_));
    sizes.output = round_up_64(words * sizeof(u32));
    sizes.scratch += 2 * round_up_64(padded * sizeof(Word));  // operands, window
    return sizes;
}

void PaddedAlgorithm32::make_transform(TransformHolder& holder, u64 words,
                                       const MultiplyContext& context) const {
    algorithm_.make_transform(holder, words64(words), context);
}

void PaddedAlgorithm32::sqr_skip(const MultiplyContext& context, u32* T, u64 skip, u64 total, const u32* A,
                                 u64 L) const {
    if (skip >= total) return;
    AlignedBufferC memory = context.scratch;
    const u64 n = words64(L), first = skip / 2, end = words64(total);
    const Word* a = pad(memory.spawn(round_up_64(n * sizeof(Word))).word_pointer(), A, L);
    Word* window = memory.spawn(round_up_64((end - first) * sizeof(Word))).word_pointer();
    algorithm_.sqr_skip(context.with_scratch(memory), window, first, end, a, n);
    std::memcpy(T, reinterpret_cast<const u8*>(window) + skip % 2 * sizeof(u32),
                (total - skip) * sizeof(u32));
}

void PaddedAlgorithm32::mul_skip(const MultiplyContext& context, u32* T, u64 skip, u64 total, const u32* A,
                                 u64 LA, const u32* B, u64 LB) const {
    if (skip >= total) return;
    AlignedBufferC memory = context.scratch;
    const u64 na = words64(LA), nb = words64(LB), first = skip / 2, end = words64(total);
    Word* operands = memory.spawn(round_up_64((na + nb) * sizeof(Word))).word_pointer();
    const Word* a = pad(operands, A, LA);
    const Word* b = pad(operands + na, B, LB);
    Word* window = memory.spawn(round_up_64((end - first) * sizeof(Word))).word_pointer();
    algorithm_.mul_skip(context.with_scratch(memory), window, first, end, a, na, b, nb);
    std::memcpy(T, reinterpret_cast<const u8*>(window) + skip % 2 * sizeof(u32),
                (total - skip) * sizeof(u32));
}

}  // namespace trel
