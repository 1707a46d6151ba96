// What kind of pages a region got and where they lie, for display.
#pragma once

#include <map>
#include <string>

#include "os/sync.h"
#include "os/types.h"

namespace trel {

struct MemoryStats {
    u64 total_bytes = 0;
    u64 large_page_bytes = 0;  // bytes in large pages
    u64 locked_bytes = 0;
    u64 large_page_size = 0;        // 0 = unknown
    std::map<u32, u64> node_bytes;  // by node, what lies on it
    u64 aimed_nodes = 0;            // entries of the node list; 0 = placement is not controlled

    os::Mutex mutex;  // for the threads that fill node_bytes
};

// "locked, 2.00 MiB pages, spread: 100%/2": the parts that apply, joined with ", ". Shares are truncated
// percentages. The spread is "?" for allocators that do not control the placement.
std::string memory_stats_text(const MemoryStats& stats);

// How evenly the bytes lie on N nodes: 1 = all alike, 0 = on one of them. With T the sum and m = T / N,
// max(0, 1 - sqrt(N * Q / (N - 1)) / T), Q the sum of (bytes - m)^2 over the nodes that have any. N < 2: 1.
double placement_evenness(const std::map<u32, u64>& node_bytes, u64 nodes);

// "node 1 (60%), 0 (39%)": up to three nodes, those with the most bytes first; empty when nothing is known.
std::string memory_nodes_text(const MemoryStats& stats);

}  // namespace trel
