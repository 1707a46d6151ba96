// The checksum of a block of a checksummed file.
#pragma once

#include "base/simd/isa.h"
#include "os/types.h"

namespace trel::FileIO {

// Blocks are whole chunks of this many bytes.
inline constexpr u64 kChecksumChunk = 64;
// Stands for "never recorded"; no block has this checksum, all of them are below 2^31.
inline constexpr u32 kNoChecksum = 0x80000000;

// checksums[i] = checksum of data[i * block_bytes, (i + 1) * block_bytes) for i < n_blocks.
//
// With M = 2^31 - 1, word i (little-endian) of chunk c counts as its low half times 2 plus its high half. The
// checksum is
//     seed * 2^(16 n) + sum over c < n, i < 8 of word(c, i) * 2^(16 (n - 1 - c) + 14 - 2 i)     (mod M),
// n = chunks of a block, with the seed in the place of word 7; written as a number of [1, M], and as 0 only
// when the seed and every byte are 0. Any alignment; any thread. block_bytes: a multiple of 64.
void block_checksums(u32* checksums, const void* data, u64 n_blocks, u64 block_bytes, u32 seed);
void block_checksums(Isa isa, u32* checksums, const void* data, u64 n_blocks, u64 block_bytes, u32 seed);

struct BlockChecksum {
    void (*blocks)(u32* checksums, const void* data, u64 n_blocks, u64 block_bytes, u32 seed);
};

}  // namespace trel::FileIO
