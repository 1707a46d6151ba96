// How the machine's processors hang together.
#pragma once

#include <string>

#include "os/types.h"

namespace trel::os {

// Counts of the whole machine, whatever this process may use. 0 = the system does not tell.
struct Topology {
    u32 logical_cores = 0;
    u32 physical_cores = 0;
    u32 sockets = 0;
    u32 numa_nodes = 0;
};

// `root` is put before the paths of the system's files (tests).
Topology topology(const std::string& root = "");

}  // namespace trel::os
