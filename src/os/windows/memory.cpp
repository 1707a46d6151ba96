#include "os/memory.h"

#include <windows.h>
// After windows.h.
#include <psapi.h>

#include "os/windows/last_error.h"

namespace trel::os {

u64 page_size() {
    static const u64 size = [] {
        SYSTEM_INFO info;
        GetSystemInfo(&info);
        return static_cast<u64>(info.dwPageSize);
    }();
    return size;
}

u64 large_page_size() {
    static const u64 size = GetLargePageMinimum();
    return size;
}

MappedMemory map_memory(u64 bytes, bool large_pages) {
    const DWORD kind = MEM_RESERVE | MEM_COMMIT | (large_pages ? MEM_LARGE_PAGES : 0);
    void* base = VirtualAlloc(nullptr, bytes, kind, PAGE_READWRITE);
    if (!base) return {nullptr, 0, error_of(GetLastError())};
    return {base, bytes, {}};
}

OsError unmap_memory(void* base, u64) {
    if (!VirtualFree(base, 0, MEM_RELEASE)) return error_of(GetLastError());
    return {};
}

// Pages get their size when they are mapped here.
void advise_large_pages(void*, u64) {}
void advise_small_pages(void*, u64) {}

OsError lock_memory(void* pointer, u64 bytes) {
    if (!VirtualLock(pointer, bytes)) return error_of(GetLastError());
    return {};
}

// Locked pages must fit in the smallest working set that the process is granted. The current one holds the
// pages that were just filled and are about to be locked.
OsError raise_lock_limit() {
    PROCESS_MEMORY_COUNTERS counters{};
    if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) ||
        !SetProcessWorkingSetSize(GetCurrentProcess(), counters.WorkingSetSize, counters.WorkingSetSize)) {
        return error_of(GetLastError());
    }
    return {};
}

}  // namespace trel::os
