// Whether a run fits into the machine.
#pragma once

#include "base/status/status.h"
#include "os/memory_status.h"

namespace kalvor {

// Before anything is allocated. `needed` bytes beyond the address space end the program ("Insufficient
// Address Space"); beyond the memory that is there, or that is free now, they are a warning and the run goes
// on. A size that the machine does not tell (0) is not held against the run.
void check_memory(const trel::os::MemoryStatus& machine, trel::u64 needed, trel::Status& status);

}  // namespace kalvor
