// Virtual memory: pages of the process, large pages, locking. Safe from any thread.
#pragma once

#include "os/error.h"
#include "os/types.h"

namespace trel::os {

// Bytes of a page; a power of two.
u64 page_size();
// Bytes of a large page (2 MiB as a rule); 0 when the system has none.
u64 large_page_size();

struct MappedMemory {
    void* base = nullptr;  // null = failed
    u64 bytes = 0;
    OsError error;
};

// `bytes` of zeroed read/write memory that belongs to no file; bytes is a multiple of the page size (of the
// large-page size with large_pages, which are then reserved: touching them cannot fail for want of them).
MappedMemory map_memory(u64 bytes, bool large_pages);
OsError unmap_memory(void* base, u64 bytes);
// Addresses for `bytes` bytes without memory behind them: no page may be used before it is committed
// (numa.h). Given back whole by unmap_memory().
MappedMemory reserve_memory(u64 bytes);

// Asks the system to back the whole large pages inside the range with large pages as they are touched. A
// hint: there is nothing to report.
void advise_large_pages(void* pointer, u64 bytes);

// The opposite: pages of the usual size, so that each can be placed for itself.
void advise_small_pages(void* pointer, u64 bytes);

// Keeps the pages of the range in memory. On failure nothing of the range counts as locked.
OsError lock_memory(void* pointer, u64 bytes);
// Raises the process's limit on locked memory as far as it may.
OsError raise_lock_limit();

}  // namespace trel::os
