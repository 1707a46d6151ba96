// The rule by which the long word operations are split into tasks.
#pragma once

#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

inline constexpr u64 kMaxBlocks = 64;

// n words in `count` blocks of `length` words (a multiple of 8), the last one shorter.
struct Blocks {
    u64 n;
    u64 length;
    u64 count;

    u64 begin(u64 k) const { return k * length; }
    u64 size(u64 k) const { return k + 1 < count ? length : n - k * length; }
};

// Words from p up to the next 64-byte boundary.
u64 words_to_alignment(const Word* p);

// Blocks of at least `minimum` words for n words written at `output`; count = 1 when the operation should run on
// the calling thread: tds < 2, or fewer than `minimum` words behind the first 64-byte boundary of the output.
Blocks split_words(const Word* output, u64 n, u64 minimum, u64 tds);
// The same without the alignment test: n words in blocks for tds tasks.
Blocks divide_words(u64 n, u64 minimum, u64 tds);

}  // namespace trel
