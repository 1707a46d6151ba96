// Residues of numbers modulo 2^(64 p) - 1 for a small p: the sum of every p-th word, with the carries led
// around. A changed bit changes such a residue by a power of two, which is never 0; and a convolution modulo
// 2^(64 W) - 1 is right modulo 2^(64 p) - 1 when p divides W.
#pragma once

#include "base/simd/isa.h"
#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// Three words serve every product that does not wrap and every ring whose length is a multiple of three
// words. Words that are a power of two apart have different weights then. Sixteen or eight words serve rings
// of a multiple of so many words.
struct RingResidue {
    static constexpr u32 kMaxWords = 16;

    explicit RingResidue(u32 p = 3) : p(p) {}

    u32 p;                   // 3, 8 or 16
    Word w[kMaxWords] = {};  // below 2^(64 p)

    // += A[0..n) 2^(64 at). Long arrays are shared out to the tasks.
    void add(const ParallelContext& parallel, const Word* A, u64 n, u64 at);
    void add(const Word* A, u64 n, u64 at);
    // += value 2^(64 at)
    void add(u128 value, u64 at);
    void add(const RingResidue& other);
    void subtract(const RingResidue& other);
    RingResidue times(const RingResidue& other) const;
    // times 2^bits
    RingResidue rotated(u64 bits) const;
    // 0 has two forms, all bits clear and all bits set.
    bool equals(const RingResidue& other) const;
    // The same number modulo 2^64 - 2^32 + 1 (goldilocks.h), which divides 2^192 - 1. p = 3 only.
    u64 goldilocks() const;
    // One word of it, for messages.
    u64 digest() const;

  private:
    u32 place(u64 at) const;
    void add_at(u32 i, u128 value);
    void add_three(u128 x, u128 y, u128 z, u64 at);
};

struct RingSumKernels {
    static constexpr u64 kBlock = 48;  // words: a multiple of 3, 16 and 8

    // words[i] and high[i], i < 24 (or 16), are the sums modulo 2^64 of the words i, i + 24, i + 48, ... (of
    // every 16th word) of `blocks` blocks, fewer than 2^30, and of those words' high halves. Where p is 8,
    // two of the sixteen sums make one.
    void (*sum24)(const Word* A, u64 blocks, u64* words, u64* high);
    void (*sum16)(const Word* A, u64 blocks, u64* words, u64* high);
};
const RingSumKernels& ring_sum_kernels(Isa isa);

}  // namespace trel
