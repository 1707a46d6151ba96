// Addition and subtraction of long word arrays, one table for each instruction-set level.
#pragma once

#include "base/simd/isa.h"
#include "os/types.h"

namespace trel {

struct WordAdders {
    // T[0..n) = A[0..n) +- B[0..n) +- carry (0 or 1); return the carry or borrow out. T may equal A or B; partial
    // overlap is not allowed.
    u8 (*add)(Word* T, const Word* A, const Word* B, u64 n, u8 carry);
    u8 (*sub)(Word* T, const Word* A, const Word* B, u64 n, u8 borrow);
};

const WordAdders& word_adders();
const WordAdders& word_adders(Isa isa);

}  // namespace trel
