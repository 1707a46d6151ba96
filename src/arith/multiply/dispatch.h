// The entries through which every large product goes: they cut what cannot reach the result, choose an
// algorithm by size and run it. 64-bit words; T overlaps no operand; context.scratch holds mSBsize(product
// words). Each polls the run's stop flag first and may throw RunStopped.
#pragma once

#include "arith/multiply/multiply_context.h"
#include "arith/multiply/transform.h"
#include "os/types.h"

namespace trel {

// T[0..LA+LB) = A * B, exact. A == B and LA == LB squares.
void multiply_full(const MultiplyContext& context, Word* T, const Word* A, u64 LA, const Word* B, u64 LB);
// T[0..total - skip) = words skip .. total - 1 of A^2 / A * B. With skip > 0 the lowest word may be up to 2
// units low.
void square_truncated(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A, u64 L);
void multiply_truncated(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A, u64 LA,
                        const Word* B, u64 LB);
// The same cuts through the algorithm's windowed transform product; returns its status word.
int multiply_truncated_small(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A,
                             u64 LA, const Word* B, u64 LB);
// A transform for a product of `words` words.
void make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context);
// Scratch bytes of the truncated and full entries for a product of `words` words.
u64 multiply_scratch_bytes(u64 words);

}  // namespace trel
