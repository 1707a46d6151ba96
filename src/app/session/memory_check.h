// Whether a run fits into the machine.
#pragma once

#include <functional>
#include <string>

#include "base/status/status.h"
#include "os/memory_status.h"

namespace kalvor {

struct MemoryDemand {
    trel::u64 bytes;
    // The largest number of digits that so many bytes are enough for; asked only when something is missing.
    std::function<trel::u64(trel::u64 bytes)> digits_that_fit;
    bool forced = false;  // run although the memory is not there
};

// "needs 46.1 GiB, 22.0 are free: at most 4,500,000,000 digits"
std::string memory_figures(trel::u64 needed, trel::u64 free, trel::u64 digits);

// What stands against so many bytes on this machine; empty when nothing does.
std::string address_space_error(const trel::os::MemoryStatus& machine, trel::u64 bytes);
std::string physical_memory_warning(const trel::os::MemoryStatus& machine, trel::u64 bytes);

// Before anything is allocated. What is beyond the address space ends the program ("Insufficient Address
// Space"). What is beyond physical memory and swap space together throws InvalidParametersException unless it
// is forced. Beyond the memory that is there, or that is free now, a warning is said and the run goes on. A
// size that the machine does not tell (0) is not held against the run.
void check_memory(const trel::os::MemoryStatus& machine, const MemoryDemand& demand, trel::Status& status);

}  // namespace kalvor
