#include "platform/memory/allocate_heap.h"

#include "base/console/format.h"

namespace trel {

namespace {

constexpr const char* kFailed = "Large heap allocation failed.";
// Whatever was asked for: the size, a limit, or pages of a kind that is not there.
constexpr const char* kWayOut =
    " of memory. Compute fewer digits, close other programs, or raise the memory limit of this process. "
    "Where "
    "large or locked pages are \"forced\", choose \"attempt\".\nSee \"kalvor help\".";

}  // namespace

AllocationFailed::AllocationFailed(u64 bytes)
    : RunError(kFailed, {{' ', "\n"},
                         {'R', "The system did not give " + Console::format_bytes(bytes) + kWayOut + "\n"},
                         {'w', "\n\n"},
                         {'R', std::string(kFailed) + "\n"},
                         {'w', "\n"},
                         {'w', "Failed Allocation: "},
                         {'Y', Console::format_bytes(bytes)},
                         {'w', "\n"}}),
      bytes_(bytes) {}

HeapAllocation allocate_heap(const AllocatorConfig& config, const ParallelContext& parallel,
                             u64 alignment_log2, u64 bytes) {
    if (bytes == 0) return {nullptr, Console::format_bytes(0), {}};
    u64 allocated = bytes;
    HeapAllocation heap;
    heap.region = config.allocate(parallel, alignment_log2, allocated);
    if (!heap.region->pointer()) throw AllocationFailed(bytes);
    const MemoryStats* stats = heap.region->stats();
    heap.warnings = heap.region->warnings();
    heap.summary = stats ? memory_stats_text(*stats) : Console::format_bytes(heap.region->size());
    return heap;
}

}  // namespace trel
