// How much memory there is.
#pragma once

#include <string>

#include "os/types.h"

namespace trel::os {

// Bytes; 0 = the system does not tell.
struct MemoryStatus {
    u64 total_physical = 0;      // installed, or what this process is limited to, if that is less
    u64 available_physical = 0;  // what could be allocated now without swapping
    u64 address_space = 0;       // of one process
    u64 total_swap = 0;          // swap space beside the physical memory; 0 also where there is none
};

// Read anew on each call. `root` is put before the paths of the system's files (tests).
MemoryStatus memory_status(const std::string& root = "");

}  // namespace trel::os
