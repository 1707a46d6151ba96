// Whether a run fits into the machine.
#pragma once

#include <functional>
#include <string>

#include "base/errors/run_error.h"
#include "base/names/names.h"
#include "base/status/status.h"
#include "os/memory_status.h"

namespace kalvor {

struct MemoryDemand {
    u64 bytes;
    // The largest number of digits that the bytes are enough for; asked only when something is missing.
    std::function<u64(u64 bytes)> digits_that_fit;
    bool forced = false;  // run although the memory is not there
};

// "needs 46.1 GiB, 22.0 are free: at most 4,500,000,000 digits"
std::string memory_figures(u64 needed, u64 free, u64 digits);

// Why this machine cannot give the bytes; empty when it can.
std::string address_space_error(const os::MemoryStatus& machine, u64 bytes);
std::string physical_memory_warning(const os::MemoryStatus& machine, u64 bytes);

// The run is beyond the address space.
class AddressSpaceExceeded final : public trel::RunError {
  public:
    explicit AddressSpaceExceeded(const std::string& figures);

    // "The run needs ... digits.", for menus, where its report would say that the program ends.
    const std::string figures;
};

// Before anything is allocated. Throws AddressSpaceExceeded. What is beyond physical memory and swap space
// together throws InvalidParametersException unless it is forced. Beyond the memory that is there, or that is
// free now, a warning is reported and the run goes on. A size that the machine does not tell (0) is ignored.
void check_memory(const os::MemoryStatus& machine, const MemoryDemand& demand, Status& status);

}  // namespace kalvor
