// Finds out where pages lie.
#pragma once

#include <map>

#include "platform/memory/memory_calls.h"
#include "platform/memory/memory_stats.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

inline constexpr u64 kPlacementPage = 4096;

// Adds the bytes of the range to the statistics by the node that each page lies on, in tds / 4 tasks when
// that is at least two. Pages that cannot be told are left out. On a machine with one node there is nothing
// to ask.
void measure_placement(const MemoryCalls& calls, const ParallelContext& context, void* pointer, u64 bytes,
                       MemoryStats& stats);

}  // namespace trel
