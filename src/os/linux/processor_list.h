// The processors of the machine, for a process that may not ask for its own.
#pragma once

#include <string>
#include <vector>

#include "os/types.h"

namespace trel::os {

// Ascending, at least one. Those that sysfs says are online, else as many as the C library counts.
std::vector<u32> processors_of_machine(const std::string& root);

}  // namespace trel::os
