// Memory that is reserved as a whole and comes page by page.
#include <windows.h>

#include "os/memory.h"
#include "os/numa.h"
#include "os/windows/last_error.h"

namespace trel::os {
namespace {

OsError touch(void* pages, u64 bytes) {
    for (u64 i = 0; i < bytes; i += page_size()) static_cast<volatile char*>(pages)[i] = 0;
    return {};
}

}  // namespace

MappedMemory reserve_memory(u64 bytes) {
    void* base = VirtualAlloc(nullptr, bytes, MEM_RESERVE, PAGE_READWRITE);
    if (!base) return {nullptr, 0, error_of(GetLastError())};
    return {base, bytes, {}};
}

OsError commit_on_numa_node(void* pages, u64 bytes, u32 node) {
    if (!VirtualAllocExNuma(GetCurrentProcess(), pages, bytes, MEM_COMMIT, PAGE_READWRITE, node)) {
        return error_of(GetLastError());
    }
    return touch(pages, bytes);
}

OsError commit_memory(void* pages, u64 bytes) {
    if (!VirtualAlloc(pages, bytes, MEM_COMMIT, PAGE_READWRITE)) return error_of(GetLastError());
    return touch(pages, bytes);
}

}  // namespace trel::os
