#include "arith/multiply/transform.h"

#include "base/errors/exceptions.h"

namespace trel {

Transform::~Transform() = default;

void Transform::check_length(const char* function, u64 words) const {
    if (words <= convolution_words()) return;
    throw ConvolutionTooSmallException(function, "Convolution length is too small.", convolution_bits(),
                                       64 * words);
}

void Transform::multiply_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                               u64 LA, const Word* B, u64 LB, void* memory) const {
    u8* const x = static_cast<u8*>(memory);
    u8* const y = x + data_bytes();
    u8* const scratch = y + data_bytes();
    forward(parallel, x, A, LA, scratch);
    forward(parallel, y, B, LB, scratch);
    inverse(parallel, T, skip, total, x, x, y, scratch);
}

void Transform::square_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                             u64 L, void* memory) const {
    u8* const x = static_cast<u8*>(memory);
    u8* const scratch = x + data_bytes();
    forward(parallel, x, A, L, scratch);
    inverse(parallel, T, skip, total, x, x, x, scratch);
}

void Transform::multiply_held(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                              u64 LA, const void* Y, void* work, void* scratch) const {
    forward(parallel, work, A, LA, scratch);
    inverse(parallel, T, skip, total, work, work, Y, scratch);
}

}  // namespace trel
