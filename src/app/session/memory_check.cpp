#include "app/session/memory_check.h"

namespace kalvor {

namespace {

bool exceeds(trel::u64 needed, trel::u64 there) {
    return there != 0 && needed > there;
}

}  // namespace

void check_memory(const trel::os::MemoryStatus& machine, trel::u64 needed, trel::Status& status) {
    if (exceeds(needed, machine.address_space)) status.FatalError("Insufficient Address Space");
    if (exceeds(needed, machine.total_physical)) {
        status.Warning("There is insufficient physical memory.");
    } else if (exceeds(needed, machine.available_physical)) {
        status.Warning("There is insufficient available physical memory.");
    } else {
        return;
    }
    status.Warning(
        "Insufficient memory may lead to virtual memory thrashing which can cause severe\n"
        "performance degradation and/or system unresponsiveness.");
}

}  // namespace kalvor
