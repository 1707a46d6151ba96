#include "platform/memory/allocate_heap.h"

#include "base/console/console.h"
#include "base/console/format.h"

namespace trel {

void AllocationFailed::print() const {
    Console::new_line();
    Console::error_line(what());
    Console::new_line();
    Console::labelled_line("Failed Allocation", Console::format_bytes(bytes_), 'Y');
}

HeapAllocation allocate_heap(const AllocatorConfig& config, const ParallelContext& context,
                             u64 alignment_log2, u64 bytes) {
    if (bytes == 0) return {nullptr, Console::format_bytes(0), {}};
    u64 allocated = bytes;
    HeapAllocation heap;
    heap.region = config.allocate(context, alignment_log2, allocated);
    if (!heap.region->pointer()) throw AllocationFailed(bytes);
    const MemoryStats* stats = heap.region->stats();
    heap.warnings = heap.region->warnings();
    heap.summary = stats ? memory_stats_text(*stats) : Console::format_bytes(heap.region->size());
    return heap;
}

}  // namespace trel
