#include "os/memory.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>

#include "os/linux/errno_error.h"

namespace trel::os {
namespace {

u64 read_large_page_size() {
    std::FILE* file = std::fopen("/proc/meminfo", "re");
    if (!file) return 0;
    char line[256];
    unsigned long long kibibytes = 0;
    while (std::fgets(line, sizeof line, file)) {
        if (std::sscanf(line, "Hugepagesize: %llu kB", &kibibytes) == 1) break;
    }
    std::fclose(file);
    return static_cast<u64>(kibibytes) << 10;
}

}  // namespace

u64 page_size() {
    static const u64 size = static_cast<u64>(sysconf(_SC_PAGESIZE));
    return size;
}

u64 large_page_size() {
    static const u64 size = read_large_page_size();
    return size;
}

MappedMemory map_memory(u64 bytes, bool large_pages) {
    const int flags = MAP_PRIVATE | MAP_ANONYMOUS | (large_pages ? MAP_HUGETLB : 0);
    void* base = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, flags, -1, 0);
    if (base == MAP_FAILED) return {nullptr, 0, error_of(errno)};
    return {base, bytes, {}};
}

MappedMemory reserve_memory(u64 bytes) {
    // Memory comes with the first touch anyway.
    return map_memory(bytes, false);
}

OsError unmap_memory(void* base, u64 bytes) {
    if (munmap(base, bytes) != 0) return error_of(errno);
    return {};
}

void advise_large_pages(void* pointer, u64 bytes) {
    const u64 large = large_page_size();
    if (large == 0) return;
    const u64 start = reinterpret_cast<std::uintptr_t>(pointer);
    const u64 first = (start + large - 1) / large * large;
    const u64 last = (start + bytes) / large * large;
    // Refused by kernels without transparent large pages: the program then runs on normal pages.
    if (first < last) (void)madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}

void advise_small_pages(void* pointer, u64 bytes) {
    (void)madvise(pointer, bytes, MADV_NOHUGEPAGE);
}

OsError lock_memory(void* pointer, u64 bytes) {
    if (mlock(pointer, bytes) == 0) return {};
    const int error = errno;
    // A range that was locked in part must not count, nor eat up the limit.
    (void)munlock(pointer, bytes);
    // Past the limit, where less may still fit. (EPERM is a process that may lock nothing at all.)
    if (error == ENOMEM || error == EAGAIN) return {static_cast<u32>(error), ErrorCategory::quota};
    return error_of(error);
}

OsError raise_lock_limit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_MEMLOCK, &limit) != 0) return error_of(errno);
    if (limit.rlim_cur == limit.rlim_max) return {};
    limit.rlim_cur = limit.rlim_max;
    if (setrlimit(RLIMIT_MEMLOCK, &limit) != 0) return error_of(errno);
    return {};
}

}  // namespace trel::os
