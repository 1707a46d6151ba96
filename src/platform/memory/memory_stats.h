// What kind of pages a region got, for display.
#pragma once

#include <string>

#include "os/types.h"

namespace trel {

struct MemoryStats {
    u64 total_bytes = 0;
    u64 large_page_bytes = 0;  // bytes in large pages
    u64 locked_bytes = 0;
    u64 large_page_size = 0;  // 0 = unknown
};

// "locked, 2.00 MiB pages, spread: ?": the parts that apply, joined with ", ". Shares are truncated
// percentages. The spread over memory nodes is unknown for allocators that do not control it.
std::string memory_stats_text(const MemoryStats& stats);

}  // namespace trel
