// The vector loop behind hash_words, one table for each instruction-set level.
#pragma once

#include "base/simd/isa.h"
#include "os/types.h"

namespace trel::m61 {

inline constexpr u64 kHashBlock = 32;  // words

struct HashWords {
    // sums[l] = residue (below 2^63) of the sum over b < blocks of words[32 b + l + 8 v] * 8^(8 v + 32 (b - blocks +
    // 1)) over v < 4, for l < 8.
    void (*hash_blocks)(const Word* words, u64 blocks, u64 sums[8]);
};

const HashWords& hash_words_kernels(Isa isa);

}  // namespace trel::m61
