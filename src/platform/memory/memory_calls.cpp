#include "platform/memory/memory_calls.h"

#include "os/affinity.h"
#include "os/cpu.h"
#include "os/numa.h"
#include "platform/memory/page_locking.h"

namespace trel {
const MemoryCalls& MemoryCalls::of_this_machine() {
    static const MemoryCalls& calls = *new MemoryCalls{
        os::page_size,
        os::large_page_size,
        os::map_memory,
        os::reserve_memory,
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
        os::commit_on_numa_node,
        os::commit_memory,
        os::numa_nodes_of_pages,
    };
    return calls;
}

}  // namespace trel
