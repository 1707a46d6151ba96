// Memory nodes: which processors are near which memory, and where pages lie. A machine that tells nothing
// about nodes has one, number 0, with all processors.
#pragma once

#include <string>
#include <vector>

#include "os/error.h"
#include "os/types.h"

namespace trel::os {

// `root` is put before the paths of the system's files (tests).
OsError highest_numa_node(u32& node, const std::string& root = "");
// The node's processors among those of this process, by the system's numbers, ascending; none for a node that
// is only memory. Fails for a node that does not exist.
OsError numa_node_processors(u32 node, std::vector<u32>& processors, const std::string& root = "");
// Memory of the node that nobody uses, in bytes.
OsError numa_node_available_memory(u32 node, u64& bytes, const std::string& root = "");

// Puts memory behind fresh pages of reserved addresses (memory.h): from this node as long as it has room, or
// from wherever the system likes. The pages are touched, so that they lie where they are to lie.
OsError commit_on_numa_node(void* pages, u64 bytes, u32 node);
OsError commit_memory(void* pages, u64 bytes);
// Where `n` touched pages lie: nodes[i] is a node, or minus the error code of a page that cannot be told.
OsError numa_nodes_of_pages(void* const* pages, u64 n, i32* nodes);

}  // namespace trel::os
