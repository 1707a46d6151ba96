#include "arith/m61/hash_words.h"

#include "arith/m61/m61.h"

namespace trel {

namespace avx2 {
extern const m61::HashWords kHashWords;
}
namespace avx512 {
extern const m61::HashWords kHashWords;
}

namespace m61 {
namespace {

constexpr u64 kVectorHash = 3 * kHashBlock;  // below this the plain loop is faster

// hash * 8 + w; stays below 2^62 + 64.
u64 horner(u64 hash, u64 w) { return ((hash << 3) & kM61) + (hash >> 58) + fold(w); }

}  // namespace

const HashWords& hash_words_kernels(Isa isa) {
    return TREL_TABLE(isa, kHashWords);
}

u64 hash_words(const Word* words, u64 n) {
    static const HashWords& kernels = hash_words_kernels(active_isa());
    u64 blocks = n < kVectorHash ? 0 : n / kHashBlock;
    u64 hash = 0;
    for (u64 i = n; i > blocks * kHashBlock; i--) hash = horner(hash, words[i - 1]);
    if (blocks == 0) return hash;
    u64 sums[8];
    kernels.hash_blocks(words, blocks, sums);
    u64 low = 0;
    for (u64 l = 8; l-- > 0;) low = horner(low, sums[l]);
    const u64 last = (blocks - 1) * kHashBlock;  // where the last block begins
    return add(mul_pow2_64(low, i64(last)), mul_pow2_64(hash, i64(last + kHashBlock)));
}

}  // namespace m61
}  // namespace trel
