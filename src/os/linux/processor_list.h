// The processors that a process may use, and those of the machine for one that may not ask for its own.
#pragma once

#include <string>
#include <vector>

#include "os/error.h"
#include "os/types.h"

namespace trel::os {

// Ascending, at least one. Those that sysfs says are online, else as many as the C library counts.
std::vector<u32> processors_of_machine(const std::string& root);

// What `get_affinity` finds; where that is refused, or is nothing, those of the machine.
std::vector<u32> processors_of_process(OsError (*get_affinity)(std::vector<u32>& processors),
                                       const std::string& root);

}  // namespace trel::os
