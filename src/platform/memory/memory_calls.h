// The system calls behind the allocators and the node map. Tests play other machines with their own: large
// pages granted, several nodes, locks that fail.
#pragma once

#include <functional>
#include <vector>

#include "os/memory.h"
#include "os/types.h"

namespace trel {

struct MemoryCalls {
    std::function<u64()> page_size;
    std::function<u64()> large_page_size;  // 0 = none
    std::function<os::MappedMemory(u64 bytes, bool large_pages)> map;
    std::function<os::MappedMemory(u64 bytes)> reserve;  // to be committed page by page
    std::function<os::OsError(void* base, u64 bytes)> unmap;
    std::function<void(void* pointer, u64 bytes)> advise_large_pages;
    std::function<void(void* pointer, u64 bytes)> advise_small_pages;
    std::function<os::OsError(void* pointer, u64 bytes)> lock;
    std::function<os::OsError()> raise_lock_limit;
    std::function<bool()> acquire_lock_privilege;

    std::function<os::OsError(u32& node)> highest_node;
    std::function<os::OsError(u32 node, std::vector<u32>& processors)> node_processors;
    std::function<os::OsError(u32 node, u64& bytes)> node_available;
    std::function<std::vector<u32>()> processors;  // of the process, by the system's numbers

    std::function<os::OsError(const std::vector<u32>& processors)> bind_thread;
    // Puts memory behind a reserved page, on a node or anywhere.
    std::function<os::OsError(void* page, u64 bytes, u32 node)> commit_on_node;
    std::function<os::OsError(void* page, u64 bytes)> commit;
    std::function<os::OsError(void* const* pages, u64 n, i32* nodes)> nodes_of_pages;

    static const MemoryCalls& of_this_machine();
};

}  // namespace trel
