#include "platform/memory/memory_calls.h"

#include "os/affinity.h"
#include "os/cpu.h"
#include "os/numa.h"
#include "platform/memory/page_locking.h"

namespace trel {
namespace {

constexpr u32 kNoNode = ~u32(0);

// A page lands where its first touch comes from and what that thread prefers. A preference of the range
// itself would cost a mapping for every page, of which a process may have some ten thousand.
thread_local u32 t_preferred_node = kNoNode;

void touch(void* page) {
    *static_cast<volatile char*>(page) = 0;
}

os::OsError touch_on_node(void* page, u64, u32 node) {
    if (t_preferred_node != node) {
        t_preferred_node = kNoNode;
        if (const os::OsError error = os::prefer_numa_node(node)) return error;
        t_preferred_node = node;
    }
    touch(page);
    return {};
}

os::OsError touch_anywhere(void* page, u64) {
    if (t_preferred_node != kNoNode) (void)os::prefer_no_numa_node();
    t_preferred_node = kNoNode;
    touch(page);
    return {};
}

}  // namespace

const MemoryCalls& MemoryCalls::of_this_machine() {
    static const MemoryCalls& calls = *new MemoryCalls{
        os::page_size,
        os::large_page_size,
        os::map_memory,
        os::unmap_memory,
        os::advise_large_pages,
        os::advise_small_pages,
        os::lock_memory,
        os::raise_lock_limit,
        [] { return trel::acquire_lock_privilege(); },
        [](u32& node) { return os::highest_numa_node(node); },
        [](u32 node, std::vector<u32>& processors) { return os::numa_node_processors(node, processors); },
        [](u32 node, u64& bytes) { return os::numa_node_available_memory(node, bytes); },
        [] { return os::active_processors(); },
        os::set_thread_affinity,
        touch_on_node,
        touch_anywhere,
        os::numa_nodes_of_pages,
    };
    return calls;
}

}  // namespace trel
