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

// The calling thread touches fresh pages on this node from now on, as long as the node has room.
OsError prefer_numa_node(u32 node);
// The calling thread touches fresh pages wherever the system likes.
OsError prefer_no_numa_node();
// Where `n` touched pages lie: nodes[i] is a node, or minus the error code of a page that cannot be told.
OsError numa_nodes_of_pages(void* const* pages, u64 n, i32* nodes);

}  // namespace trel::os
