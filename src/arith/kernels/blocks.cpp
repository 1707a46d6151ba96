#include "arith/kernels/blocks.h"

#include <algorithm>
#include <cstdint>

namespace trel {

u64 words_to_alignment(const Word* p) { return (0 - u64(reinterpret_cast<std::uintptr_t>(p))) % 64 / 8; }

Blocks divide_words(u64 n, u64 minimum, u64 tds) {
    const u64 length = (std::max((n - 1) / std::min(tds, kMaxBlocks) + 1, minimum) + 7) & ~u64(7);
    return {n, length, (n - 1) / length + 1};
}

Blocks split_words(const Word* output, u64 n, u64 minimum, u64 tds) {
    const u64 head = words_to_alignment(output);
    if (tds < 2 || n <= head || n - head < minimum) return {n, n, 1};
    return divide_words(n, minimum, tds);
}

}  // namespace trel
