// Writes every byte of fresh memory once, so that its pages are there, near the thread that wrote them, and
// hold no stale data. Words i and j are alike only where (i - j)(i + j) is a multiple of 2^32, so code that
// reads what it never wrote shows.
#pragma once

#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// '{' at the first byte, '@' at the last; then word i (32 bits, from the first 4-aligned address to the last)
// becomes 0xC82B9175 * i^2 + 0xC857661B mod 2^32. The bytes between these marks and the aligned words are
// left alone. bytes may be 0. Runs at memory speed.
void fill_memory(void* pointer, u64 bytes);

// Bytes between two looks at the run's stop flag.
inline constexpr u64 kFillStep = u64(64) << 20;

// The same in tds / 4 chunks as tasks (each numbered from its own start) when there are at least two: page
// faults spread over the processors without flooding the memory. Throws RunStopped when the run was asked to
// stop; the rest of the region is then left as it was.
void fill_memory(const ParallelContext& parallel, void* pointer, u64 bytes);

}  // namespace trel
