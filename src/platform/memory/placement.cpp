#include "platform/memory/placement.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace trel {
namespace {

constexpr u64 kPagesAtOnce = 1024;

void measure(const MemoryCalls& calls, char* begin, char* end, MemoryStats& stats) {
    std::map<u32, u64> found;
    std::vector<void*> pages(kPagesAtOnce);
    std::vector<i32> nodes(kPagesAtOnce);
    for (char* p = begin; p < end;) {
        u64 n = 0;
        for (; n < kPagesAtOnce && p < end; n++, p += kPlacementPage) pages[n] = p;
        if (calls.nodes_of_pages(pages.data(), n, nodes.data())) continue;
        for (u64 i = 0; i < n; i++) {
            if (nodes[i] < 0) continue;
            const u64 rest = static_cast<u64>(end - static_cast<char*>(pages[i]));
            found[static_cast<u32>(nodes[i])] += std::min(rest, kPlacementPage);
        }
    }
    const std::lock_guard<os::Mutex> lock(stats.mutex);
    for (const auto& [node, bytes] : found) stats.node_bytes[node] += bytes;
}

}  // namespace

void measure_placement(const MemoryCalls& calls, const ParallelContext& context, void* pointer, u64 bytes,
                       MemoryStats& stats) {
    u32 highest = 0;
    if (calls.highest_node(highest)) return;
    if (highest == 0) {
        stats.node_bytes[0] = bytes;
        return;
    }
    char* const begin = static_cast<char*>(pointer);
    const u64 chunks = context.tds / 4;
    if (chunks < 2) {
        measure(calls, begin, begin + bytes, stats);
        return;
    }
    const u64 chunk = (bytes / chunks / kPlacementPage + 1) * kPlacementPage;
    parallel_for(context, chunks, [&](u64 i) {
        const u64 first = std::min(i * chunk, bytes);
        measure(calls, begin + first, begin + std::min(first + chunk, bytes), stats);
    });
}

}  // namespace trel
