// Element-wise products: many independent products of equal length, as a transform over long elements has them between
// its two directions. The choice between schoolbook and Karatsuba is made once for all of them.
//
// Element i of an operand is the n words from i n on, element i of the result the 2 n words from 2 i n on. Exact, one
// thread; T overlaps no operand, B may be A. Scratch as for one product of that length, looked at from the Karatsuba
// threshold on only.
#pragma once

#include "os/types.h"

namespace trel {

// scratch: karatsuba_sizes(128 n).scratch_bytes
void mul_elements(Word* T, const Word* A, const Word* B, u64 n, u64 count, Word* scratch);
void sqr_elements(Word* T, const Word* A, u64 n, u64 count, Word* scratch);

namespace words32 {

// scratch: scratch_words(2 n) words
void mul_elements(u32* T, const u32* A, const u32* B, u64 n, u64 count, u32* scratch);
void sqr_elements(u32* T, const u32* A, u64 n, u64 count, u32* scratch);

}  // namespace words32
}  // namespace trel
