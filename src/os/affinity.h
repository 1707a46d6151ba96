// Which processors the calling thread may run on.
#pragma once

#include <vector>

#include "os/error.h"
#include "os/types.h"

namespace trel::os {

// Reads or sets the processors of the calling thread, in ascending order of the system's numbers.
OsError get_thread_affinity(std::vector<u32>& processors);
OsError set_thread_affinity(const std::vector<u32>& processors);

// The processor group that the calling thread is in.
u32 current_processor_group();
// Asks for the active processors of a group; none and, where the system gives one, the reason when there is no
// such group. (cpu.h counts those of the machine once.)
OsError get_group_processors(u32 group, std::vector<u32>& processors);

}  // namespace trel::os
